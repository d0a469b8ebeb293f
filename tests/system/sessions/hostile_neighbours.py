"""A configuration service and a network daemon that answer what no neighbour should."""
import json
import os
import struct

from bus import FalseService
from hostile_service import within_memory
from programs import check
from service import message

MEGABYTE = 1 << 20


def odd_answers(service, command):
    """The first ones are answers, if strange ones; behind the others the request waits until its limit."""
    name = b'{"command":"' + command.encode() + b'-response"'
    texts = [name + b"}", name + b',"status":"ok","value":null}', name + b',"status":7,"value":7}',
             name + b',"value":[[],{}],"reason":{}}', name + b',"value":"' + b"v" * (10 * MEGABYTE) + b'"}',
             name + b',"value":"\xff\xfe%s%n"}', name + b',"value":"\\u0000true"}', name + b',"value":{"a":{"b":[1]}}}',
             name + b',"status":"error","reason":"%s%s%s%n"}', name + b',"status":"error","reason":[1]}',
             name + b"," + b",".join(b'"m%d":{"x":1}' % n for n in range(60000)) + b"}"]
    answers = [service.frame(text) for text in texts]
    answers.append([service.frame(b"{}"), service.frame(b'{"command":"other-response","value":"x"}'),
                    service.frame(name + b',"status":"ok","value":"true"}') * 3])
    answers.append(b"")
    answers.append([b"\xff", b"\xff" * 16])
    answers.append(struct.pack("<IIBI4s", service.module, 0xFFFFFFFF, 0, 28, b"RVB1"))
    answers.append(os.urandom(100000))
    late = [b"null", b"[]", b"", b"{", b"[" * 100000, b'{"a":' * 10000, b"{}," * MEGABYTE, b" " * (16 * MEGABYTE - 1),
            json.dumps({"command": ["get-response"]}).encode()]
    return answers + [service.frame(text) for text in late]


async def false_configuration(session):
    link = await session.subscribed()
    await session.ap.tell("fault config dead")
    async with FalseService(session, 1) as service:
        await link.mode()
        check(service.asked > 3, "nothing was asked")
        for number, answer in enumerate(odd_answers(service, "get")):
            service.answers = [answer]
            radios = (await link.mode())["radios"]
            check(not service.answers, "answer", number, "was not asked for")
            check([radio["status"] for radio in radios] == [1, 1] and radios[0]["locked-for-tpc"] == 0, radios)
    await session.ap.tell("fault clear")
    await link.mode()
    within_memory(session)


async def false_network_daemon(session):
    link = await session.subscribed()
    await session.ap.tell("fault porterd dead")
    async with FalseService(session, 6) as service:
        for number, answer in enumerate(odd_answers(service, "update-corvane")):
            service.answers = [answer]
            await link.send(message("rrm-info", use_tpc=1, radios=[{"id": 0, "power": 9}]))
            await link.mode()
            check(not service.answers, "answer", number, "was not asked for")
    await session.ap.tell("fault clear")
    await link.send(message("rrm-info", use_tpc=1, radios=[{"id": 0, "power": 9}]))
    await link.skip_to("rrm-config-changed", lambda told: told["radios"][0]["power"] == 9)
    within_memory(session)


SESSIONS = [false_configuration, false_network_daemon]

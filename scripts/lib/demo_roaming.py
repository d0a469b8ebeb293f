"""The roaming mode: messages cross from a websocket server through the daemon to a peer on the local bus and back."""

import os

BUS_PEER = "3"
DAEMON = "2"


async def story(stage):
    stage.step("A websocket server stands for the service.")
    service = await stage.start(["ravd-sim-service"], "service", stage.shown("service", 110))
    port = (await service.line(r"listening on 127\.0\.0\.1:(\d+)"))[1]

    stage.step("A peer attaches to the device's local bus as module 3.")
    peer = await stage.start(["ravd-bus", "--stay", "attach", BUS_PEER], "bus peer", stage.shown("bus peer", 110))

    stage.step("The daemon starts in roaming mode. It waits a random second or two, then connects.")
    daemon = await stage.daemon(110, port, mode="roam", log_level=0)
    await peer.line(r'"cmd":"disconnected"')
    await peer.line(r'"cmd":"connected"')
    await service.line(r"(?i)connect")
    stage.verify("the bus peer is told that the link is down, then up")

    stage.step("The service sends a message; it arrives on the bus.")
    mark = peer.mark()
    await service.say('{"service":"roam","note":"from the service"}')
    await peer.line(r'^2 \{"service":"roam","note":"from the service"\}$', since=mark)
    stage.verify("a message of the service reaches the bus peer unchanged")

    stage.step("The same in five fragments.")
    mark = peer.mark()
    await service.say("fragments 5 a text in five pieces that belong together")
    await peer.line(r"^2 a text in five pieces that belong together$", since=mark)
    stage.verify("fragments are put together")

    stage.step("The bus peer answers; the service receives it.")
    mark = service.mark()
    await peer.say(DAEMON + ' {"service":"roam","note":"from the bus"}')
    await service.line(r"from the bus", since=mark)
    stage.verify("a message of the bus reaches the service")

    stage.step("The service resets the connection. The daemon tells its peer and connects again by itself.")
    mark = peer.mark()
    await service.say("drop")
    await peer.line(r'"cmd":"disconnected"', since=mark)
    await peer.line(r'"cmd":"connected"', seconds=20, since=mark)
    stage.verify("after a link loss the peer is told and the link comes back")

    stage.step("One more message over the new link.")
    mark = peer.mark()
    await service.say('{"note":"after the loss"}')
    await peer.line(r"after the loss", since=mark)
    stage.verify("messages pass again")

    stage.step("SIGTERM ends the daemon.")
    stage.verify(f"it ended with status 0 after {await daemon.stop(3):.1f} s (limit 3 s)")
    left = [name for name in os.listdir(stage.path("run/ravd-bus")) if name == DAEMON + ".sock"]
    stage.verify("it left no socket behind", not left)

"""The link over TLS: what must be refused is, with its reason and without a byte of a websocket; what is right works."""
import asyncio
import os
import re
import socket
import ssl
import threading

import websockets

from lab.bus import Peer
from lab.processes import Place, check, until
from lab.programs import Daemon

HERE = os.path.dirname(os.path.abspath(__file__))
# A service that wants a certificate says so after the handshake; a hang-up may overtake it.
UNWANTED = "(TLS: the service ended it: .*certificate required|Closed before conn|read failed|no websocket handshake)"


class Bench(Place):
    """Certificates, a service over TLS and a daemon that is told to use it."""

    async def certificates(self):
        status, out = await self.run(os.path.join(HERE, "../../scripts/lab-certs"), self.path("lab"), "rrm.lab")
        check(status == 0, out)

    def context(self, certificate="server", client=False, version=None):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        lab = self.path("lab")
        context.load_cert_chain(f"{lab}/{certificate}.pem", f"{lab}/server.key")
        if client:
            context.verify_mode = ssl.CERT_REQUIRED
            context.load_verify_locations(lab + "/ca.pem")
        if version:
            context.set_ciphers("DEFAULT:@SECLEVEL=0")
            context.minimum_version = ssl.TLSVersion.TLSv1
            context.maximum_version = version
        context.sni_callback = lambda connection, name, _: self.names.append(name)
        return context

    async def serve(self, context):
        """A websocket service; what it got is in `names`, `requests` and `texts`."""
        self.names, self.requests, self.texts = [], [], []

        async def talk(link, _):
            self.link = link
            try:
                async for text in link:
                    self.texts.append(text)
            except websockets.ConnectionClosed:
                pass

        async def note(path, _):
            self.requests.append(path)

        server = await websockets.serve(talk, "127.0.0.1", 0, subprotocols=["websock-roaming"], ssl=context,
                                        process_request=note, compression=None, max_size=None)
        return server.sockets[0].getsockname()[1]

    async def serve_bytes(self, answer=b"", context=None):
        """A service of another kind; what it got is in `requests`. With TLS it says why it refuses, which asyncio does not."""
        self.names, self.requests = [], []
        listener = socket.create_server(("127.0.0.1", 0))

        def talk():
            while True:
                link, _ = listener.accept()
                try:
                    link = context.wrap_socket(link, server_side=True) if context else link
                    self.requests.append(link.recv(100))
                    link.sendall(answer)
                    self.kept = link
                except OSError:
                    link.close()

        threading.Thread(target=talk, daemon=True).start()
        return listener.getsockname()[1]

    async def daemon(self, port, **keys):
        program = self.add(Daemon(self.directory))
        files = {key: value if value.startswith("/") or key == "tls_server_name" else self.path("lab/" + value)
                 for key, value in keys.items()}
        await program.begin(port, mode="roam", log_level=7, **files)
        return program


CA = {"tls_ca_file": "ca.pem"}
OURS = {"tls_cert_file": "client.pem", "tls_key_file": "client.key"}


def works(keys, sni, **service):
    async def story():
        async with Bench() as bench:
            await bench.certificates()
            port = await bench.serve(bench.context(**service))
            daemon = await bench.daemon(port, **keys)
            line = (await daemon.line(" link to .* is up| no link .*"))[0]
            check(" is up" in line, line)
            check((bench.names, bench.requests) == ([sni], ["/agent"]), bench.names, bench.requests)
    return story


def refused(keys, reason, prepare=None, request=False, **service):
    """`request`: the service sees the request, since it is the service that refuses."""
    async def story():
        async with Bench() as bench:
            await bench.certificates()
            if prepare:
                await prepare(bench)
            port = await bench.serve_bytes(context=bench.context(**service))
            daemon = await bench.daemon(port, **keys)
            line = (await daemon.line(" warning: .* no link .*"))[0]
            expected = f" warning: websock-roaming: no link to 127.0.0.1:{port}: {reason}; next attempt in [12] s"
            check(re.fullmatch(expected, line), line, "instead of", reason)
            check(request or not any(bench.requests), "a request was sent")
            check(not any("is up" in line for line in daemon.lines), daemon.lines)
            await daemon.stop()
    return story


async def not_tls():
    """What answers in plain text gets no request."""
    async with Bench() as bench:
        await bench.certificates()
        port = await bench.serve_bytes(b"HTTP/1.1 400 Bad Request\r\n\r\n")
        daemon = await bench.daemon(port, **CA)
        await daemon.line("no link to .*: TLS: wrong version number; next attempt")
        check(all(got[:1] == b"\x16" for got in bench.requests), bench.requests)
        await daemon.stop()


async def mute():
    """A handshake that is never answered does not hold up the end."""
    async with Bench() as bench:
        await bench.certificates()
        port = await bench.serve_bytes()
        daemon = await bench.daemon(port, **CA)
        while not bench.requests:
            await asyncio.sleep(0.05)
        check(bench.requests[0][:1] == b"\x16", bench.requests)
        await asyncio.sleep(0.5)
        await daemon.stop()


async def large():
    """Messages of megabytes cross both ways."""
    async with Bench() as bench:
        await bench.certificates()
        daemon = await bench.daemon(await bench.serve(bench.context()), **CA)
        await daemon.line("link to .* is up")
        arrived = 0

        async def count(reader, _):
            nonlocal arrived
            while piece := await reader.read(65536):
                arrived += len(piece)

        async with await asyncio.start_unix_server(count, bench.path("run/ravd-bus/3.sock")), Peer(bench, 2) as bus:
            for _ in range(3):
                bus.send(b"y" * 5000000)
                await bench.link.send("x" * 5000000)
            await until(lambda: bench.texts == ["y" * 5000000] * 3 and arrived > 15000000, "all of it arrives", 20)


async def lab_service():
    """The lab's own service asks for certificates, too."""
    async with Bench() as bench:
        await bench.certificates()
        lab = bench.path("lab/")
        service = await bench.start(["ravd-sim-service", "--tls-cert", lab + "server.pem", "--tls-key", lab + "server.key",
                                     "--tls-client-ca", lab + "ca.pem"])
        port = int((await service.line(r"listening on .*:(\d+)"))[1])
        stranger = await bench.daemon(port, **CA)
        await stranger.line("no link to .*" + UNWANTED)
        await stranger.stop()
        daemon = await bench.daemon(port, **CA, **OURS)
        await daemon.line("link to .* is up")
        await service.line("agent .* connected .* websock-roaming")


async def renewed():
    """Files are read anew at each attempt."""
    async with Bench() as bench:
        await bench.certificates()
        lab = bench.path("lab")
        os.rename(lab + "/ca.pem", lab + "/ca.old")
        port = await bench.serve(bench.context())
        daemon = await bench.daemon(port, **CA)
        await daemon.line("warning: .*tls_ca_file .*/ca.pem: No such file or directory")
        await daemon.line("info: .*tls_ca_file .*/ca.pem: No such file or directory")
        os.rename(lab + "/ca.old", lab + "/ca.pem")
        await daemon.line("link to .* is up")


async def other_authority(bench):
    """The service's certificate is of one, the daemon trusts another."""
    for name in ("ca.key", "server.pem", "server.key"):
        os.rename(bench.path("lab/" + name), bench.path(name))
    await bench.certificates()
    for name in ("server.pem", "server.key"):
        os.rename(bench.path(name), bench.path("lab/" + name))


async def readable_key(bench):
    os.chmod(bench.path("lab/client.key"), 0o644)


async def garbage(bench):
    bench.write("lab/garbage", "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n")
    os.chmod(bench.write("lab/empty", ""), 0o600)
    os.mkfifo(bench.path("lab/pipe"))


def file_of(key, name, reason):
    """A file that cannot be used."""
    return refused({**CA, **OURS, key: name}, f"{key} .*/{name}: {reason}", garbage)


STORIES = [
    works(CA, None),
    works({**CA, "tls_server_name": "other.lab"}, "other.lab", certificate="other"),
    works({**CA, **OURS}, None, client=True),
    refused(CA, UNWANTED, client=True, request=True),
    refused(CA, "TLS: certificate of the service: .*issuer certificate", other_authority),
    refused(CA, "TLS: certificate of the service: IP address mismatch", certificate="other"),
    refused({**CA, "tls_server_name": "else.lab"}, "TLS: certificate of the service: .ostname mismatch"),
    refused(CA, "TLS: certificate of the service: certificate has expired", certificate="expired"),
    refused(CA, "TLS: certificate of the service: certificate is not yet valid", certificate="early"),
    refused(CA, "TLS: .*protocol.*", version=ssl.TLSVersion.TLSv1_1),
    file_of("tls_ca_file", "none", "No such file or directory"),
    file_of("tls_ca_file", "garbage", "not readable as PEM"),
    file_of("tls_ca_file", "empty", "no certificate in it"),
    file_of("tls_ca_file", "pipe", "not a regular file"),
    refused({"tls_ca_file": "/tmp"}, "tls_ca_file /tmp: not a regular file"),
    file_of("tls_cert_file", "empty", "no certificate in it"),
    file_of("tls_key_file", "empty", "no key in it that can be read"),
    file_of("tls_key_file", "server.key", "not the key of the certificate"),
    refused({**CA, **OURS}, "tls_key_file .*client.key: others may use it.*", readable_key),
    refused({**CA, "tls_cert_file": "client.pem"}, "tls_cert_file is set without tls_key_file"),
    refused({**CA, "tls_key_file": "client.key"}, "tls_key_file is set without tls_cert_file"),
    not_tls,
    mute,
    large,
    lab_service,
    renewed,
]
for number, story in enumerate(STORIES):
    if story.__name__ == "story":
        story.__name__ = f"tls_{number}"

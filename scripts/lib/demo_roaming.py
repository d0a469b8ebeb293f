"""The roaming mode: messages cross from a websocket server through the daemon to a peer on the local bus and back."""

import os

BUS_PEER = "3"
DAEMON = "2"


def abridged(limit):
    return lambda line: line if len(line) <= limit else line[:limit] + " ..."


def story(stage):
    stage.step("A websocket server stands for the service.")
    service = stage.start("service", ["ravd-sim-service"], abridged(110))
    port = service.wait_for(r"listening on 127\.0\.0\.1:(\d+)").group(1)

    stage.step("A peer attaches to the device's local bus as module 3.")
    home = stage.path("device")
    os.makedirs(home)
    device = {"RAVD_SIM_DIR": home}
    peer = stage.start("bus peer", ["ravd-bus", "--stay", "attach", BUS_PEER], abridged(110), device)

    stage.step("The daemon starts in roaming mode. It waits a random second or two, then connects.")
    with open(stage.path("ravd.conf"), "w", encoding="utf-8") as file:
        file.write(f"roam_service_url=ws://127.0.0.1:{port}/roam\nlog_level=0\n")
    daemon = stage.start("ravd", ["ravd-sim", "-f", stage.path("ravd.conf")], abridged(110), device)
    peer.wait_for(r'"cmd":"disconnected"')
    peer.wait_for(r'"cmd":"connected"')
    service.wait_for(r"(?i)connect")
    stage.verify("the bus peer is told that the link is down, then up")

    stage.step("The service sends a message; it arrives on the bus.")
    mark = peer.mark()
    service.send('{"service":"roam","note":"from the service"}')
    peer.wait_for(r'^2 \{"service":"roam","note":"from the service"\}$', since=mark)
    stage.verify("a message of the service reaches the bus peer unchanged")

    stage.step("The same in five fragments.")
    mark = peer.mark()
    service.send("fragments 5 a text in five pieces that belong together")
    peer.wait_for(r"^2 a text in five pieces that belong together$", since=mark)
    stage.verify("fragments are put together")

    stage.step("The bus peer answers; the service receives it.")
    mark = service.mark()
    peer.send(DAEMON + ' {"service":"roam","note":"from the bus"}')
    service.wait_for(r"from the bus", since=mark)
    stage.verify("a message of the bus reaches the service")

    stage.step("The service resets the connection. The daemon tells its peer and connects again by itself.")
    mark = peer.mark()
    service.send("drop")
    peer.wait_for(r'"cmd":"disconnected"', since=mark)
    peer.wait_for(r'"cmd":"connected"', seconds=20, since=mark)
    stage.verify("after a link loss the peer is told and the link comes back")

    stage.step("One more message over the new link.")
    mark = peer.mark()
    service.send('{"note":"after the loss"}')
    peer.wait_for(r"after the loss", since=mark)
    stage.verify("messages pass again")

    stage.step("SIGTERM ends the daemon.")
    status, seconds = daemon.stop()
    stage.verify(f"it ended with status {status} after {seconds:.1f} s (limit 3 s)", status == 0 and seconds < 3)
    left = [name for name in os.listdir(os.path.join(home, "run/ravd-bus")) if name == DAEMON + ".sock"]
    stage.verify("it left no socket behind", not left)

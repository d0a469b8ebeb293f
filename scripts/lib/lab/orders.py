"""Messages of the service, and events of its clients as hostapd's side reports them."""
BASE_MAC = "02:00:5E:11:00:10"
FACTORY = {"board": "sim-ap", "hw": "1", "serial": "SIM0000011", "mac": BASE_MAC}

OFFICE = {
    "name": "session", "seed": 7,
    "factory": {**FACTORY, "mac": BASE_MAC.lower()},
    "radios": [
        {"channel": 6, "power": 16, "power_min": 8, "power_max": 20, "channels": [1, 6, 11],
         "vaps": [{"ssid": "office", "kv": True, "stations": [{"mac": "06:00:00:00:00:01", "rssi": -48},
                                                              {"mac": "06:00:00:00:00:02", "rssi": -62, "v": False},
                                                              {"mac": "06:00:00:00:00:03", "rssi": -76}]},
                  {"ssid": "guest/1", "kv": False}]},
        {"channel": 36, "bandwidth": 80, "power": 18, "power_min": 8, "power_max": 23, "limit_channels": [36, 40, 44, 48],
         "vaps": [{"ssid": "office", "kv": True, "ft": True}]}],
    "neighbours": [
        {"bssid": "06:aa:00:00:00:01", "ssid": "other", "channel": 6, "rssi": -50, "power": 17},
        {"bssid": "06:aa:00:00:00:02", "ssid": "cafe", "channel": 11, "rssi": -55},
        {"bssid": "06:aa:00:00:00:03", "ssid": "other", "channel": 36, "bandwidth": 80, "rssi": -60, "power": 20}]}


def named(members):
    """Underscores of member names stand for hyphens."""
    return {name.replace("_", "-"): value for name, value in members.items()}


def message(cmd, **members):
    return {"version": "2.4", "service": "rrm", "cmd": cmd, "ap-mac": BASE_MAC, **named(members)}


def accept(**members):
    return message("subscribe-response", status="success", **members)


def refuse(code):
    return message("subscribe-response", status="failure", code=code)


def own(cmd, domain, **members):
    """A message of the agent."""
    return {**message(cmd), "domain": domain, **named(members)}


def scan(channels="6 36", delay=0, rrm=0):
    return message("rrm-update", rrm_scan_channels=channels, rrm_scan_delay=delay, quarn_rrm_scanning=rrm)


def neighbour(number, channel, priority, *vaps):
    return {"neighbour-mac": f"02:00:5E:77:00:{number:02}", "channel": channel, "priority": priority,
            "vaps": [{"ssid": ssid, "mac": mac} for ssid, mac in vaps]}


def holders(vap, radio, **changes):
    """Key-holder settings of a VAP."""
    return {"vap_id": vap, "radio_id": radio, "mobility-domain": 4660, "r0-key-holder-id": "ap1.lab/x",
            "r1-key-holder-id": "02005e110011", "fbt-rrb-key": "00112233445566778899aabbccddeeff",
            "remotes": [{"remote-r1-kh-id": "02005e770011", "remote-r0-kh-id": "ap2", "remote-r1-kh-key": "ffee"},
                        {"remote-r0-kh-id": "nameless", "remote-r1-kh-key": "00"},
                        {"remote-r1-kh-id": "02005e770013", "remote-r0-kh-id": "ap3", "remote-r1-kh-key": "ddcc"}],
            **changes}


def event(kind, **members):
    """A client's event."""
    return {"command": "wifi-client-trap", "event": {
        "type": kind, "dev": "wlan0-va0", "mac": "06:00:00:00:00:42", "ssid": "office", "rssi": -61,
        "client-info": {"using-802.11v": "yes"}, "target-mac": "06:00:00:00:00:99", **named(members)}}

# Events of clients and of the driver.
m = 02:00:00:00:00:01
t = 02:00:00:00:00:02
dev = "dev":"wlan1-va2","mac":"$m","ssid":"s","rssi":-44,"target-mac":"$t"
event = {"command":"wifi-client-trap","event":{"type":
subscribed {}
# 802.11v is off
bus $event"auth",$dev}}
sends
subscribed {"use-80211v":1}
# they do not wait for a scan
order rrm-update "x":0
bus $event"reassoc",$dev}}
sends rrm-client-disassoc "radio":1,"sta-mac":"$m","ssid":"s"
bus $event"send-deauth",$dev}}
bus $event"send-disassoc",$dev}}
bus $event"recv-deauth",$dev}}
bus $event"recv-disassoc",$dev}}
bus $event"auth-fail",$dev}}
bus $event"8021x-fail",$dev}}
names rrm-client-disassoc rrm-client-disassoc rrm-client-disassoc rrm-client-disassoc rrm-client-disassoc rrm-client-disassoc
bus $event"auth",$dev}}
sends rrm-client-assoc "radio":1,"sta-mac":"$m","rssi":-44,"ssid":"s","no-balance":1
bus $event"auth",$dev,"client-info":{"using-802.11v":"no"}}}
sends rrm-client-assoc "radio":1,"sta-mac":"$m","rssi":-44,"ssid":"s","no-balance":1
bus $event"8021x-success",$dev,"client-info":{"using-802.11v":"yes"}}}
sends rrm-client-assoc "radio":1,"sta-mac":"$m","rssi":-44,"ssid":"s","no-balance":0
bus $event"80211v-roam",$dev}}
sends rrm-sta-roam "radio":1,"sta-mac":"$m","ssid":"s","target-mac":"$t"
bus $event"80211v-roam","dev":"wlan0","mac":null,"ssid":"s"}}
sends {"version":"2.4","service":"rrm","cmd":"rrm-sta-roam","ap-mac":"02:00:00:00:00:10","domain":"home","ssid":"s"}
bus $event"AUTH",$dev}}
bus $event"",$dev}}
sends
pass 20
names rrm-response

event 0 0 $m s $t
event 1 0
pass
sends rrm-sta-roam "radio":0,"sta-mac":"$m","ssid":"s","target-mac":"$t"
# turns 802.11v off
order rrm-info "x":0
event 0 0 $m s $t
pass
event 2 0
pass 2
event 2 0
pass 2
event 2 0
pass 2
# the last one came a second before
pass 3
sends
pass 1
names rrm-config-changed
order rrm-info "use-80211v":1
hostapd stops
names rrm-disassoc-all-clients
bus $event"reassoc",$dev}}
sends
hostapd starts
names rrm-config-changed
bus $event"reassoc",$dev}}
sends rrm-client-disassoc "radio":1,"sta-mac":"$m","ssid":"s"

# Texts of more than 128 KiB count as absent.
repeat most 131072 x
repeat long 131073 x
listen warning
order subscribe-response "status":"success","domain":"$long"
logs A "domain" of 131073 bytes or more is too long: it counts as absent
bus $event"reassoc","mac":"$long","ssid":"$most"}}
sends {"version":"2.4","service":"rrm","cmd":"rrm-client-disassoc","ap-mac":"02:00:00:00:00:10","domain":"home","ssid":"$most"}
logs A "mac" of 131073 bytes or more is too long: it counts as absent

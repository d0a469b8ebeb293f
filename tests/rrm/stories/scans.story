# Both kinds of scan and their report.
subscribed {}
radio 0 up 0
radio 1 up 0
hears 1 -70 6 20 0 0 2 -50 36 40 12 256
hears
hears 1 -72 6 20 0 0 2 -50 36 40 12 256
hears
hears 1 -74 6 20 0 0
order rrm-update "rrm-scan-delay":10,"rrm-scan-channels":"1 \t 6 11 36x 149 40 36 70000 -3 "
pass 9
calls
pass 1
syslog Started scan by corvane
start = start_scan active [0 1 6 11] [36 40 149]
calls stop_scan; $start
pass 4
syslog Started scan by corvane
calls stop_scan; fill_active; $start
pass 12
calls stop_scan; fill_active; $start; stop_scan; fill_active; $start; stop_scan; fill_active; $start
pass 3
sends
calls
pass 1
calls stop_scan; fill_active
lock = "locked-for-dca":1,"locked-for-tpc":1,"locked-for-balancer":1,"locked-for-80211v":1,"power":16,"power-max":16,"power-min":11
radios = "radios":[{"id":0,"status":0,"mac-offset":0,"radio-mac-count":8,$lock,"channel":1,"band":2,"bandwidth":20,"primary-channel":"none"},{"id":1,"status":0,"mac-offset":8,"radio-mac-count":8,$lock,"channel":36,"band":5,"bandwidth":80,"primary-channel":"none"}]
first = "bssid":"02:00:00:00:ab:01"
second = {"bssid":"02:00:00:00:ab:02","rssi":-50,"channel":36,"tx-power":12,"primary-channel":"upper","bandwidth":40}
near = "channel":6,"tx-power":0,"primary-channel":"none","bandwidth":20}
sends rrm-response $radios,"rf-environment":[[{$first,"rssi":-70,$near,$second],[{$first,"rssi":-72,$near,$second],[{$first,"rssi":-74,$near]]

# A single round with a delayed report, of which nothing but its own results is left.
hears 2 -50 36 40 12 256
order rrm-update "rrm-scan-delay":10,"quarn-rrm-scanning":1,"rrm-scan-channels":"6  36 y"
pass 14
calls stop_scan; start_scan rrm [0 6] [36]; stop_scan; fill_rrm
pass 9
sends
# leaves the report alone
order rrm-update "rrm-scan-delay":2
pass 1
sends rrm-response $radios,"rf-environment":[[$second]]
due launch 1
# that report took all
arm 0 response
pass
sends rrm-response $radios,"rf-environment":[]
# A report holds no rounds of a scan that was given up, and an order leaves an earlier report alone.
hears 1 -70 6 20 0 0
hears 1 -72 6 20 0 0
order rrm-update "x":0
pass 8
hostapd starts
drop
hears 2 -50 36 40 12 256
order rrm-update "rrm-scan-delay":1,"quarn-rrm-scanning":1
pass 1
hears
pass 4
order rrm-update "x":0
pass 1
sends rrm-response $radios,"rf-environment":[[$second]]
pass 19
sends rrm-response $radios,"rf-environment":[]
hears 1 -70 6 20 0 0
hears 1 -72 6 20 0 0
order rrm-update "x":0
pass 8
hostapd starts
drop
hears 2 -50 36 40 12 256
order rrm-update "quarn-rrm-scanning":1
pass 4
sends rrm-response $radios,"rf-environment":[[$second]]
# a delay beyond all reason is held; a negative one is none
order rrm-update "rrm-scan-delay":2147483647
due launch 1000000
order rrm-update "rrm-scan-delay":-5,"quarn-rrm-scanning":1
due launch
pass 4
sends rrm-response $radios,"rf-environment":[]
# a start of hostapd ends the scan, not its timer; the next order begins anew
order rrm-update "x":0
pass 4
hostapd starts
due round 4
order rrm-update "rrm-scan-delay":10
due round
drop
pass 10
due round 4
pass 19
names
pass 1
names rrm-response
# gone under a report that is due
hostapd stops
arm 0 response
drop
listen debug
pass
logs Not sending rrm-response because hostapd is not running
sends

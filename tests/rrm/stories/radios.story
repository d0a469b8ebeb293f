# The description of the radios, in the messages that carry it.
radio 1 up 0
radio 0 power 14
vap 0 3 a"b/é 02:00:00:00:00:14 1 0
station 0 02:00:00:00:00:0a -1000
station 0 02:00:00:00:00:0b -61
conf /corvane/dca true
conf /corvane/tpc TRUE
clients = ,"assoclist":[{"mac":"02:00:00:00:00:0a","ssid":"guest","rssi":0},{"mac":"02:00:00:00:00:0b","ssid":"guest","rssi":-61}]
start = "radios":[{"id":0,"status":1,"mac-offset":0,"radio-mac-count":8
power = "power":14,"power-max":16,"power-min":11,"channel":6,"band":2
vaps = "available-channels":"1 6 11 ","vaps":[{"id":1,"ssid":"guest","mac":"02:00:00:00:00:12","802dot11k":0,"802dot11r":1},{"id":3,"ssid":"a\"b\/é","mac":"02:00:00:00:00:14","802dot11k":1,"802dot11r":0}]
idle = {"id":1,"status":0,"mac-offset":8,"radio-mac-count":8,"locked-for-dca":1,"locked-for-tpc":1,"locked-for-balancer":1,"locked-for-80211v":1,"power":16,"power-max":16,"power-min":11,"channel":36,"band":5,"bandwidth":80,"primary-channel":"none"}
locks = "locked-for-dca":0,"locked-for-tpc":1,"locked-for-balancer":1,"locked-for-80211v":1
factory = "factory":{"board":"board-1","hw":"hw-2","serial":"77777777777777777777777777777777","mac":"02:00:00:00:00:10"}
hostapd starts
service {"service":"internal-ipc","cmd":"connected"}
sends subscribe-request "ap-mac-count":16,"use-wildcard-80211r":0,$factory,$start,$locks,$power,"bandwidth":20,"primary-channel":"none",$vaps$clients},$idle]
order subscribe-response "status":"success"
order rrm-request-mode "x":0
sends rrm-mode-response $start,$locks,$power,"bandwidth":20,"primary-channel":"none",$vaps},$idle]
order rrm-info "use-80211v":1
conf /corvane/load-balance-80211v true
listen debug
# the configured width counts
radio 0 coex 1
radio 0 configured 0x1900
order rrm-request-mode "x":0
locks = "locked-for-dca":0,"locked-for-tpc":1,"locked-for-balancer":1,"locked-for-80211v":0
sends rrm-mode-response $start,$locks,$power,"bandwidth":40,"primary-channel":"upper",$vaps$clients},$idle]
logs-twice getconf '/corvane/load-balance-80211v'
radio 0 wds 1
order rrm-request-mode "x":0
locks = "locked-for-dca":1,"locked-for-tpc":1,"locked-for-balancer":1,"locked-for-80211v":1
sends rrm-mode-response $start,$locks,$power,"bandwidth":40,"primary-channel":"upper",$vaps$clients},$idle]
sends

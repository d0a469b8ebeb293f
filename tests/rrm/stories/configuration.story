# "rrm-info" and the "config" of "subscribe-response".
subscribed {}
listen error
order rrm-info "x":0
calls del_neighbors wlan1-va1
order rrm-info "radios":[{"id":0,"channel":11,"power":9}]
calls del_neighbors wlan1-va1
order rrm-info "use-tpc":1,"radios":[{"id":0,"channel":11,"power":9}]
calls set_tx_power wlan0 9; del_neighbors wlan1-va1
order rrm-info "use-dca":1,"radios":[{"id":0,"channel":11,"power":9}]
calls set_channel wlan0 11 20 0; del_neighbors wlan1-va1
syslog Corvane requested switch channel to 11 on wlan0
order rrm-info "use-dca":1,"radios":[{"id":1,"channel":36,"bandwidth":40,"primary-channel":"upper"}]
calls set_channel wlan1 36 40 2; del_neighbors wlan1-va1
order rrm-info "use-dca":1,"radios":[{"id":1,"channel":36,"bandwidth":40}]
calls set_channel wlan1 36 40 1; del_neighbors wlan1-va1
order rrm-info "use-dca":1,"radios":[{"id":1,"channel":36,"bandwidth":80,"primary-channel":"upper"}]
calls set_channel wlan1 36 80 0; del_neighbors wlan1-va1
order rrm-info "use-80211v":2,"radios":[{"id":1,"quarn-roam-attempt-timeout":7},{"id":0}]
calls roam_timeout wlan1 7; roam_timeout wlan0 0; del_neighbors wlan1-va1
quiet
order rrm-info "use-dca":1,"use-tpc":1,"radios":[{"id":2,"channel":1},{"id":0,"power":3}]
calls set_tx_power wlan0 3; del_neighbors wlan1-va1
logs-part apply_config() Wrong id value

# Only an object is a configuration.
order subscribe-response "status":"success","config":[]
order subscribe-response "status":"success","config":"x"
calls

all = "status":"success","domain":"lab","config":{"use-dca":1,"use-tpc":1,"use-80211v":1,"radios":[{"id":1,"channel":36,"power":5,"quarn-roam-attempt-timeout":3}]}
# only the roam timeout
radio 1 wds 1
order subscribe-response $all
calls roam_timeout wlan1 3; del_neighbors wlan1-va1
radio 1 up 0
listen warning
order subscribe-response $all
calls
logs wlan1 keeps its channel and power, for it is down
radio 1 up 1
vap 1 1
order subscribe-response $all
calls del_neighbors wlan1-va1
radio 1 up 0
service {"version":"2.3","service":"rrm","cmd":"x"}
sends {"version":"2.4","service":"rrm","cmd":"unsubscribe-request","ap-mac":"02:00:00:00:00:10","domain":"lab","factory":{"board":"board-1","hw":"hw-2","serial":"77777777777777777777777777777777","mac":"02:00:00:00:00:10"}}

radio 1 up 1
list = "802dot11k":[{"neighbour-mac":"n","channel":36,"priority":2,"vaps":[{"ssid":"a","mac":"m1"},{"ssid":"b","mac":"m2"},{"ssid":"c"},{"mac":"m"}]},{"channel":1,"vaps":[{"ssid":"a","mac":"m3"}]},{"neighbour-mac":"n"}]
order rrm-info $list
calls del_neighbors wlan1-va1; add_neighbor m1 a 36 2 0; add_neighbor m2 b 36 2 0
order rrm-sta-overload "radios":[{"id":-1},{"id":2}],$list
calls del_custom wlan1-va1; add_neighbor m1 a 36 2 1; add_neighbor m2 b 36 2 1

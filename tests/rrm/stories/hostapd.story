# The watch over the pid file and the notifications, and what a stop takes with it.
listen debug
pass 2
calls
hostapd appears
logs Connected to hostapd
# gone before it was announced
hostapd stops
logs Hostapd is not init and scoutd is not sentry mode
calls
hostapd starts
calls set_hostapd 1; reset_context; init_context; stop_all
hostapd stops
logs Hostapd is not running, waiting for restart
calls set_hostapd 0; reset_context
sends
# without a pid file it has not started
notify hostapd_started
pass 30
hostapd appears
# back before the limit
pass 40
calls
hostapd starts
drop
hostapd stops
# 60 s are still waiting
pass 60
calls set_hostapd 0; reset_context
hostapd appears
hostapd stops
listen debug
pass 1
logs Hostapd has not restarted
logs Disconnected from hostapd
# it was told already
calls
# timers run while the pid file is waited for, too
listen debug
arm 0 response
pass
logs Not sending rrm-response because hostapd is not running

# With a subscription.
kv = del_neighbors wlan0-va1; del_neighbors wlan1-va1
vap 0 1 guest 02:00:00:00:00:12 1 1
subscribed {"use-80211v":1,"use-80211r":1}
notify config_updated
hostapd starts
# both notifications: one message
names rrm-config-changed
notify config_updated
pass
names rrm-config-changed
arm 50 launch round subscribe response probes config blocked refill
hostapd stops
sends rrm-disassoc-all-clients "factory":{"board":"board-1","hw":"hw-2","serial":"77777777777777777777777777777777","mac":"02:00:00:00:00:10"}
sends
due
hostapd starts
drop
service {"service":"internal-ipc","cmd":"disconnected"}
calls $kv; reset_corvane 0; fbt reset 2; stop_all
subscribed {"use-80211r":1}
hostapd stops
pass 60
drop
# given up while subscribed
pass 1
calls $kv; stop_all; reset_corvane 0; fbt reset 0
# the same without fast transition
subscribed {"use-80211r":0}
service {"service":"internal-ipc","cmd":"disconnected"}
calls $kv; reset_corvane 0; stop_all
subscribed {}
hostapd stops
pass 60
drop
pass 1
calls $kv; stop_all; reset_corvane 0

# What came while nobody read: of the link it counts, and it comes first.
down = {"service":"internal-ipc","cmd":"disconnected"}
up = {"service":"internal-ipc","cmd":"connected"}
subscribed {"use-80211v":1}
order rrm-update "x":0
hostapd stops
order rrm-update "x":0
pass 61
drop
listen warning
order rrm-info "x":0
bus {"command":"wifi-client-trap","event":{"type":"auth"}}
service $down
service $up
notify config_updated
hostapd appears
logs 3 orders and client events came while hostapd was away: they are dropped
hostapd starts
pass 9
names subscribe-request
calls $kv; reset_corvane 0; stop_all; stop_scan; set_hostapd 1; reset_context; init_context; stop_all
# nor is a change told before the subscription while it runs
subscribed {}
notify config_updated
service $down
names

# The table of radios was filled while the configuration service did not answer.
incomplete 1
subscribed {}
due refill 30
pass 30
calls refill_context
names rrm-config-changed
due refill 30
hostapd stops
due refill
hostapd starts
pass 5
service $down
service $up
drop
pass 24
incomplete 0
pass 1
calls refill_context
due refill
# the request described the old table
order subscribe-response "status":"success"
pass 4
names
pass 1
names rrm-config-changed

# The version of a message, and what is not acted on.
subscribed {}
mode = {"service":"rrm","cmd":"rrm-request-mode","version":
service $mode"2.4"}
service $mode"3.0"}
service $mode" +2. 5x"}
service $mode"2.99999999999999999999"}
service $mode"99999999999999999999.-1"}
names rrm-mode-response rrm-mode-response rrm-mode-response rrm-mode-response rrm-mode-response
bye = "factory":{"board":"board-1","hw":"hw-2","serial":"77777777777777777777777777777777","mac":"02:00:00:00:00:10"}
state 0 1
arm 50 config
service $mode"2.3"}
sends unsubscribe-request $bye
sends {"version":"2.4","service":"internal-ipc","cmd":"unlink"}
marker 0
due
service $mode"1.9"}
service $mode"2"}
service $mode"2 .4"}
service $mode"2,4"}
service $mode"x"}
service $mode null}
service $mode""}
service $mode[]}
service $mode"-99999999999999999999.9"}
service $mode"3.-99999999999"}
service {"service":"rrm","cmd":"rrm-request-mode"}
names unsubscribe-request unlink unsubscribe-request unlink unsubscribe-request unlink unsubscribe-request unlink unsubscribe-request unlink unsubscribe-request unlink unsubscribe-request unlink unsubscribe-request unlink unsubscribe-request unlink unsubscribe-request unlink unsubscribe-request unlink

restart
hostapd appears
listen debug
order rrm-info "x":0
logs Ignoring rrm-info because hostapd is not running
order rrm-blacklist "x":0
logs Ignoring rrm-blacklist because load balancer is not yet supported
# at other levels in our own words, and never twice
logs-part rrm-info
listen warning
order rrm-info "x":0
logs rrm-info is not carried out: hostapd does not run
order rrm-blacklist "x":0
logs rrm-blacklist is not carried out: load balancing by it is not supported
# these need no hostapd
order fbt-info "x":0
calls fbt reset 0
order rrm-sta-overload "x":0
calls del_custom wlan1-va1
listen debug
order rrm-unknown "x":0
service
service x
service []
service 1
service null
service {}
service {"service":"other","cmd":"connected"}
service {"service":"internal-ipc"}
service {"command":"wifi-client-trap"}
quiet
sends
calls

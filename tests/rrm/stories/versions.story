# The version of a message, and what is not acted on.
subscribed {}
mode = {"service":"rrm","cmd":"rrm-request-mode","version":
service $mode"2.4"}
names rrm-mode-response
service $mode"3.0"}
names rrm-mode-response
service $mode" +2. 5x"}
names rrm-mode-response
service $mode"2.99999999999999999999"}
names rrm-mode-response
service $mode"99999999999999999999.-1"}
names rrm-mode-response
bye = "factory":{"board":"board-1","hw":"hw-2","serial":"77777777777777777777777777777777","mac":"02:00:00:00:00:10"}
unlink = {"version":"2.4","service":"internal-ipc","cmd":"unlink"}
state 0 1
arm config 50
service $mode"2.3"}
sends unsubscribe-request $bye
sends $unlink
marker 0
due config
service $mode"1.9"}
sends unsubscribe-request $bye
sends $unlink
service $mode"2"}
sends unsubscribe-request $bye
sends $unlink
service $mode"2 .4"}
sends unsubscribe-request $bye
sends $unlink
service $mode"2,4"}
sends unsubscribe-request $bye
sends $unlink
service $mode"x"}
sends unsubscribe-request $bye
sends $unlink
service $mode null}
sends unsubscribe-request $bye
sends $unlink
service $mode""}
sends unsubscribe-request $bye
sends $unlink
service $mode[]}
sends unsubscribe-request $bye
sends $unlink
service $mode"-99999999999999999999.9"}
sends unsubscribe-request $bye
sends $unlink
service $mode"3.-99999999999"}
sends unsubscribe-request $bye
sends $unlink
service {"service":"rrm","cmd":"rrm-request-mode"}
sends unsubscribe-request $bye
sends $unlink
sends

restart
hostapd appears
listen debug
order rrm-info "x":0
logs Ignoring rrm-info because hostapd is not running
order rrm-update "x":0
logs Ignoring rrm-update because hostapd is not running
order rrm-request-mode "x":0
logs Ignoring rrm-request-mode because hostapd is not running
order rrm-blacklist "x":0
logs Ignoring rrm-blacklist because load balancer is not yet supported
order rrm-probe-request "x":0
logs Ignoring rrm-probe-request because load balancer is not yet supported
order rrm-disassoc-request "x":0
logs Ignoring rrm-disassoc-request because load balancer is not yet supported
order rrm-client-assoc-ack "x":0
logs Ignoring rrm-client-assoc-ack because load balancer is not yet supported
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

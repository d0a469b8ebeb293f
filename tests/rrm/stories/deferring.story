# What has to wait for the end of a scan, and what becomes of it.
up = {"service":"internal-ipc","cmd":"connected"}
down = {"service":"internal-ipc","cmd":"disconnected"}
subscribed {}
order rrm-update "quarn-rrm-scanning":1
order rrm-request-mode "x":0
order rrm-update "x":0
# no version: not looked at while a scan runs
service {"service":"rrm"}
pass 4
names rrm-response rrm-mode-response
drop
pass
# the deferred order
calls stop_scan; start_scan active [] []
order rrm-request-mode "x":0
listen warning
service $down
logs 2 orders that waited for the end of a scan end with their link
# nothing goes on, nor is the deferred message handled
pass 30
names
drop
service $up
# before the subscription: its scan must not outlive the link either
order rrm-update "x":0
drop
service $down
calls stop_scan
service $up
order rrm-update "x":0
# the driver stops nothing before hostapd is back
hostapd stops
order rrm-request-mode "x":0
drop
hostapd appears
pass 100
names
hostapd starts
pass
names subscribe-request rrm-mode-response

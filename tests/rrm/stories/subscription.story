# The subscription's state machine, row by row.
up = {"service":"internal-ipc","cmd":"connected"}
down = {"service":"internal-ipc","cmd":"disconnected"}
# without hostapd
hostapd appears
listen debug
service $up
logs Waiting for hostapd to start before sending subscribe-request
names
state 1 0
due subscribe
# both notifications: one message
notify config_updated
hostapd starts
names subscribe-request
due subscribe 30
# no status: nothing
order subscribe-response "code":503
state 1 0
due subscribe 30
order subscribe-response "status":"busy","code":503
logs Reconnect after 60 sec
state 1 0
due subscribe 60
order subscribe-response "status":"busy","code":503
due subscribe 120
order subscribe-response "status":"busy","code":503
due subscribe 120
names
listen info
order subscribe-response "status":"refused","code":500
logs The radio service refuses the subscription (refused, code 500) until the link comes up anew
state 0 0
due subscribe
# an earlier report is void
arm 50 response
service $up
due response
names subscribe-request
order subscribe-response "status":"success"
state 0 1
due subscribe
hostapd starts
names rrm-config-changed
service $down
state 0 0
due subscribe
# while nobody answers
service $up
names subscribe-request
due subscribe 30
pass 29
names
pass 1
names subscribe-request
due subscribe 60
pass 60
names subscribe-request
due subscribe 120
pass 240
names subscribe-request subscribe-request
state 1 0
# link events come from the link alone
order subscribe-response "status":"success"
service {"cmd":"disconnected","service":"internal-ipc"}
bus $down
state 0 1

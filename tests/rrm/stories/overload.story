# "rrm-sta-overload": the weakest clients are asked to leave.
subscribed {}
station 0 A -60
station 0 B -80
station 0 C -70 0 1
station 0 D -90 1 1
station 0 E -80
listen debug
order rrm-sta-overload "ap-mac":"AP","radios":[{"id":0,"roam-count":2}]
calls del_custom wlan1-va1; bss_trans wlan0-va1 B 1; bss_trans wlan0-va1 E 1
logs AP(AP - wlan0) is overloaded - 2 clients will be roamed
logs Client(C) doesn`t support 802.11v
logs Client(D) doesn`t support 802.11v
logs There has already been an attempt to roam client(D)
logs There are 3 posible sta to roam:
logs MAC: E; RSSI: -80
logs #1 B
logs #2 E
logs Sending BSS Trans Request to clients:
order rrm-sta-overload "radios":[{"id":0,"roam-count":0},{"roam-count":-1},{"id":1,"roam-count":9},{"id":2},{"id":-1}]
calls del_custom wlan1-va1
logs 2 entries of rrm-sta-overload are not carried out: there are no such radios
order rrm-sta-overload "radios":[{"id":0,"roam-count":99}]
calls del_custom wlan1-va1; bss_trans wlan0-va1 B 1; bss_trans wlan0-va1 E 1; bss_trans wlan0-va1 A 1

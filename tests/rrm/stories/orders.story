# What the radios make of an order is read back 5 s later; a scan, which visits other channels, is waited for.
subscribed {}
listen warning
order rrm-info "use-dca":1,"use-tpc":1,"radios":[{"id":0,"channel":6,"power":9},{"id":1,"channel":36,"bandwidth":80}]
due orders 5
radio 0 chanspec 0x1006
radio 0 power 9
radio 1 chanspec 0x202a
pass 6
quiet
order rrm-info "use-dca":1,"use-tpc":1,"radios":[{"id":0,"channel":11,"power":12},{"id":1,"channel":40,"bandwidth":40}]
radio 1 chanspec 0x182a
order rrm-update "rrm-scan-channels":"1"
pass 5
quiet
due orders 5
drop
order rrm-update "rrm-scan-channels":"","quarn-rrm-scanning":1
pass 500
logs wlan0: channel 11 with 20 MHz was ordered, it is on 6 with 20 MHz
logs wlan0: power 12 was ordered, it is 9

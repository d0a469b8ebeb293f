# "fbt-info": key-holder settings for each VAP.
subscribed {}
order fbt-info "vaps":[]
calls fbt reset 0
subscribed {"use-80211r":1}
# leaves 802.11r on
order rrm-info "x":0
drop
holders = "r0-key-holder-id":"r0","r1-key-holder-id":"r1"
keyless = {"vap_id":1,"radio_id":1,$holders
good = $keyless,"fbt-rrb-key":"k"
tail = "remote-r0-kh-id":"z","remote-r1-kh-key":"y"}
a = {"remote-r1-kh-id":"a",$tail
b = {"remote-r1-kh-id":"b",$tail
start = fbt wlan1-va1 {"version":"2.4","service":"fbt","ft-config":{"enabled":"true","ft-over-ds":
none = $start"false","ft-psk-generate-local":"false","reassociation-deadline":0,"mobility-domain":0,$holders,"mac":{}}}
order fbt-info "x":0
calls fbt begin; fbt finish
order fbt-info "vaps":[]
calls fbt begin; fbt finish
order fbt-info "vaps":[{"vap_id":4},$good,"remotes":[]}]
calls fbt begin; $none; fbt finish
order fbt-info "fbt-over-ds":5,"fbt-reassoc-deadline":900,"vaps":[$good,"mobility-domain":77,"remotes":[$a,{$tail,$b,{"remote-r1-kh-id":"c","remote-r1-kh-key":"y"},{"remote-r1-kh-id":"d","remote-r0-kh-id":"z"},$a]}]
key = "r0-kh-id":"z","r1-kh-id":
calls fbt begin; $start"true","ft-psk-generate-local":"false","reassociation-deadline":900,"mobility-domain":77,$holders,"mac":{"a":{"name":"a","index":"5",$key"a","r0-kh-key":"k","r1-kh-key":"y"},"b":{"name":"b","index":"2",$key"b","r0-kh-key":"k","r1-kh-key":"y"}}}}; fbt finish
# a key that is missing, or too long
repeat long 513 k
order fbt-info "vaps":[$keyless,"remotes":[$a]},$keyless,"fbt-rrb-key":"$long","remotes":[$a]}]
calls fbt begin; $none; $none; fbt finish
repeat most 512 k
order fbt-info "vaps":[$keyless,"fbt-rrb-key":"$most","remotes":[$a]}]
calls fbt begin; $start"false","ft-psk-generate-local":"false","reassociation-deadline":0,"mobility-domain":0,$holders,"mac":{"a":{"name":"a","index":"0",$key"a","r0-kh-key":"$most","r1-kh-key":"y"}}}}; fbt finish
order fbt-info "vaps":[$good}]
calls fbt begin; fbt finish
# 32 VAP entries, 1,025 remotes
repeat others 31 {"vap_id":99,"radio_id":-5},
order fbt-info "vaps":[$others$good,"remotes":[]},$good,"remotes":[]}]
calls fbt begin; $none; fbt finish
repeat crowd 1024 {},
order fbt-info "vaps":[$good,"remotes":[$crowd$a,$b]}]
calls fbt begin; $start"false","ft-psk-generate-local":"false","reassociation-deadline":0,"mobility-domain":0,$holders,"mac":{"a":{"name":"a","index":"1024",$key"a","r0-kh-key":"k","r1-kh-key":"y"}}}}; fbt finish
# a null ends either list
order fbt-info "vaps":[$good,"remotes":[]},null,$good,"remotes":[]}]
calls fbt begin; $none; fbt finish
order fbt-info "vaps":[$good,"remotes":[null,$a]}]
calls fbt begin; $none; fbt finish
# an identity that is too long is none
order fbt-info "vaps":[$good,"remotes":[{"remote-r1-kh-id":"$long",$tail]}]
calls fbt begin; $none; fbt finish
# more than 6 MiB as it leaves: 750 remotes of 9 KiB each
listen error
repeat most 512 \u0001
repeat crowd 750 {"remote-r1-kh-id":"$most",$tail,
order fbt-info "vaps":[$good,"remotes":[$crowd$a]}]
logs Error: fbt-info asks for more than 6291456 bytes of key-holder settings
calls fbt begin; fbt reset 0
# without a key holder the whole message counts for nothing
order fbt-info "vaps":[$good,"remotes":[]},{"vap_id":1,"radio_id":1,"r0-key-holder-id":"r0"}]
calls fbt begin; $none; fbt reset 0
order fbt-info "vaps":[$good,"remotes":[]},{"vap_id":1,"radio_id":1,"r1-key-holder-id":"r1"}]
calls fbt begin; $none; fbt reset 0

#!/bin/sh
# Stand-in for the firmware's link and signal script: each client's MAC, link
# speed, signal and connection type, served from /tmp/sim/link_and_signal.
src=/tmp/sim/link_and_signal
[ -r "$src" ] && exec cat "$src" >/tmp/ra_devices_link_and_signal
exit 0

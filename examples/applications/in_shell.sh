#!/bin/sh
# An application in shell: says when it is ready, beats its heart, says when it goes.
command -v systemd-notify >/dev/null || {
    echo "in_shell: systemd-notify is missing, which is in Debian's package systemd" >&2
    exit 1
}
trap 'systemd-notify STOPPING=1; exit 0' TERM

# ... here a real one prepares its work ...
systemd-notify READY=1
# Each beat is a process of its own: seldom enough for a shell is a tenth of a second.
pause=$(awk "BEGIN { print ${WATCHDOG_USEC:-1000000} / 2000000 }")
while :; do
    sleep "$pause" & # ... here it works ...
    wait $!
    systemd-notify WATCHDOG=1
done

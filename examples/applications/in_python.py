#!/usr/bin/env python3
"""An application in Python: says when it is ready, beats its heart, says when it goes."""
import os
import signal
import socket
import sys
import time

notifications = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
notifications.connect(os.environ["NOTIFY_SOCKET"])


def end(*_):
    notifications.send(b"STOPPING=1")
    sys.exit(0)


signal.signal(signal.SIGTERM, end)

# ... here a real one prepares its work ...
notifications.send(b"READY=1")
pause = int(os.environ.get("WATCHDOG_USEC", 1000000)) / 2e6
while True:
    time.sleep(pause)  # ... here it works ...
    notifications.send(b"WATCHDOG=1")

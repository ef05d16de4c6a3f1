"""What the applications say of themselves (stamps.h), and the checks that make a figure count."""

import mmap
import os
import struct
import tempfile
import time

SLOT_SIZE = 64
SLOT = struct.Struct('=QQQII')  # begun, ready, ended, pid, starts
HEAD = struct.Struct('=II')     # ready, ended


class Dishonest(Exception):
    """A run whose figures must not be reported."""


class Stamps:
    def __init__(self, group):
        self.group = group
        base = '/dev/shm' if os.access('/dev/shm', os.W_OK) else None
        file, self.path = tempfile.mkstemp(prefix='stamps.', dir=base)
        size = (group.count + 1) * SLOT_SIZE
        os.ftruncate(file, size)
        self.memory = mmap.mmap(file, size)
        os.close(file)

    def close(self):
        self.memory.close()
        os.unlink(self.path)

    def slot(self, number):
        return SLOT.unpack_from(self.memory, (number + 1) * SLOT_SIZE)

    def head(self):
        return HEAD.unpack_from(self.memory, 0)

    def clear_ends(self, numbers):
        for number in numbers:
            struct.pack_into('=Q', self.memory, (number + 1) * SLOT_SIZE + 16, 0)

    def wait_for(self, ready=0, ended=0, limit=120, alive=lambda: True):
        """Until that many have become ready and have ended, all told."""
        deadline = time.monotonic() + limit
        while True:
            now = self.head()
            if now[0] >= ready and now[1] >= ended:
                return
            if time.monotonic() > deadline or not alive():
                raise Dishonest(f'{now[0]} of {ready} ready, {now[1]} of {ended} ended')
            time.sleep(0.003)

    def check_started(self, numbers=None, since=0, starts=1):
        """All came up, in order; the time of the last one."""
        numbers = range(self.group.count) if numbers is None else numbers
        slots = {number: self.slot(number) for number in numbers}
        for number, slot in slots.items():
            if slot[1] < since or slot[4] != starts or not os.path.exists(f'/proc/{slot[3]}'):
                raise Dishonest(f'application {number} is not ready: {slot}')
        wrong = sum(1 for number, need in self.group.edges()
                    if number in slots and need in slots and slots[number][0] < slots[need][1])
        return max(slot[1] for slot in slots.values()), wrong

    def check_ended(self, numbers=None, since=0):
        """All have ended by themselves; the time of the last one, and how many edges were
        out of order: what somebody needed was gone before him."""
        numbers = range(self.group.count) if numbers is None else numbers
        ends = {number: self.slot(number)[2] for number in numbers}
        for number, end in ends.items():
            if end < since:
                raise Dishonest(f'application {number} has not ended')
        wrong = sum(1 for number, need in self.group.edges()
                    if number in ends and need in ends and ends[need] < ends[number])
        return max(ends.values()), wrong

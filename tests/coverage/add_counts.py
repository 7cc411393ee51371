"""Adds up line counts that programs of a coverage build left behind (files *.gcda, as GCC 12 and 14 write them).

Own code: gcov-tool refuses two programs if they got an inline function of a header from different objects, because each
object then counts other functions. gcovr can add up reports, but would run gcov thousands of times, for each object of
each run. Here the counts of a function are added up from all objects.
"""
import struct

MAGIC = 0x67636461
FUNCTION = 0x01000000
ARCS = 0x01a10000
SUMMARY = 0xa1000000


class Counts:
    """The counts of one object: function -> how often each of its arcs was taken."""

    def __init__(self, head):
        self.head = head  # version, stamp, checksum: those of the compiled object
        self.runs = 0
        self.functions = {}

    def add(self, other):
        if self.head != other.head:
            raise ValueError("counts of two different builds")
        self.runs += other.runs
        for function, arcs in other.functions.items():
            if function in self.functions:
                own = self.functions[function]
                if len(own) != len(arcs):
                    raise ValueError("a function with different numbers of arcs")
                arcs = [one + another for one, another in zip(own, arcs)]
            self.functions[function] = arcs


def read(data):
    """Counts of a file's bytes."""
    if len(data) % 4 or len(data) < 16:
        raise ValueError("the file is incomplete")
    magic, *head = struct.unpack_from("<4I", data)
    if magic != MAGIC:
        raise ValueError("not a file of line counts")
    counts = Counts(tuple(head))
    place, function = 16, None
    while place < len(data):
        tag = struct.unpack_from("<I", data, place)[0]
        if tag == 0:
            break
        length = struct.unpack_from("<i", data, place + 4)[0]
        place += 8
        if tag == FUNCTION:
            # Without a length: this function was counted in another object of that program.
            function = struct.unpack_from("<3I", data, place) if length else None
        elif tag == ARCS:
            if function is None:
                raise ValueError("arcs without a function")
            # A negative length means this number of zeros, which are not written.
            counts.functions[function] = ([0] * (-length // 8) if length < 0 else
                                          list(struct.unpack_from("<%dQ" % (length // 8), data, place)))
        elif tag == SUMMARY:
            counts.runs = struct.unpack_from("<I", data, place)[0]
        else:
            raise ValueError("an unknown record %#x" % tag)
        place += max(length, 0)
    return counts


def write(counts):
    """The bytes of a file that gcov reads."""
    data = struct.pack("<4I", MAGIC, *counts.head) + struct.pack("<IiII", SUMMARY, 8, counts.runs, 0)
    for function, arcs in counts.functions.items():
        data += struct.pack("<Ii3I", FUNCTION, 12, *function)
        data += struct.pack("<Ii%dQ" % len(arcs), ARCS, 8 * len(arcs), *arcs)
    return data + struct.pack("<I", 0)

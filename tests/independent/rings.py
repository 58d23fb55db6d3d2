"""Rings made by hand: full ones, and ones with lost clusters."""

import os

import decoder


def write_ring(base, cluster_of):
    """Both files of a ring; cluster_of(n) is the content of cluster n."""
    with open(f"{base}_1.mtd", "wb") as one, open(f"{base}_2.mtd", "wb") as two:
        for n in range(decoder.CLUSTERS):
            block = cluster_of(n)
            one.write(block)
            two.write(block)


def filler(tick):
    """A cluster with a bookmark at a tick."""
    packet = b"\x80" + tick.to_bytes(4, "little") + b"\x01\x56"
    used = tick.to_bytes(4, "little") + (7 + len(packet) + 1).to_bytes(2, "little") + packet
    used += bytes([decoder.crc8(packet)])
    return (bytes([decoder.crc8(used)]) + used).ljust(decoder.CLUSTER, b"\0")


def full_ring(base, newest):
    """A ring of fillers, whose oldest cluster is the one behind `newest`."""
    oldest = newest + 1
    write_ring(base, lambda n: filler(1 + (n - oldest) % decoder.CLUSTERS))


def lose_cluster(base, number):
    for file in (1, 2):
        with open(f"{base}_{file}.mtd", "r+b") as ring:
            ring.seek(number * decoder.CLUSTER)
            ring.write(b"\xA5" * decoder.CLUSTER)


def remove_ring(base):
    for file in (1, 2):
        os.remove(f"{base}_{file}.mtd")

"""Package archives, built independently of the program."""

import hashlib
import struct
import zlib

LOCAL_HEADER = struct.Struct("<IHHHHHIIIHH")
CENTRAL_HEADER = struct.Struct("<IHHHHHHIIIHHHHHII")
END_RECORD = struct.Struct("<IHHHHIIH")


def as_bytes(text):
    """`text` as bytes; bytes stay what they are."""
    return text if isinstance(text, bytes) else text.encode("utf-8", "surrogateescape")


def archive(entries):
    """The archive of `entries`, a dict or a list of (name, contents); names are kept as given.

    The layout is a ZIP file with stored members, all times zero, no extra fields, no comments.
    """
    pairs = entries.items() if isinstance(entries, dict) else entries
    members, directory, count = bytearray(), bytearray(), 0
    for name, contents in pairs:
        raw_name, data = as_bytes(name), as_bytes(contents)
        crc, size, offset = zlib.crc32(data), len(data), len(members)
        members += LOCAL_HEADER.pack(0x04034B50, 10, 0, 0, 0, 0, crc, size, size, len(raw_name), 0)
        members += raw_name + data
        directory += CENTRAL_HEADER.pack(
            0x02014B50, 20, 10, 0, 0, 0, 0, crc, size, size, len(raw_name), 0, 0, 0, 0, 0, offset
        )
        directory += raw_name
        count += 1
    end = END_RECORD.pack(0x06054B50, 0, 0, count, count, len(directory), len(members), 0)
    return bytes(members + directory + end)


def sha256(data):
    """The checksum text of `data`: "sha256:" and 64 lower-case hexadecimal digits."""
    return "sha256:" + hashlib.sha256(data).hexdigest()

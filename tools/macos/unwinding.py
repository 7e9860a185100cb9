"""Reads what an image says of unwinding its stack: how each function's frame is undone, and where exceptions stop.
"""

import struct

from macho import Malformed, Reader

HAS_TABLE, PERSONALITY = 0x40000000, 0x30000000
MODE, MODE_DWARF = 0x0F000000, {"arm64": 0x03000000, "x86_64": 0x04000000}  # DWARF's description is in __eh_frame.


def faults(image):
    """What keeps an exception from finding its way: a list of texts, empty when nothing does.

    Every function that says that it has a table of exceptions must have one, and each table must be one.
    """
    text, info = image.section("__TEXT", "__text"), image.section("__TEXT", "__unwind_info")
    tables = image.section("__TEXT", "__gcc_except_tab")
    if text is None or info is None or tables is None:
        return ["the sections for unwinding are not all there"]
    segment = next(segment for segment in image.segments() if segment.name == "__TEXT")
    begin = segment.address
    frames = image.section("__TEXT", "__eh_frame") or (0, b"")
    functions, table_of = _entries(info[1])
    found = []
    if not functions or min(functions) < text[0] - begin or max(functions) >= segment.size:
        found.append("the unwinding information is not about the functions")
    wanted = {}
    for function, encoding in functions.items():
        if encoding & MODE == MODE_DWARF[image.architecture]:
            described, table = _described_in_dwarf(frames, encoding & 0xFFFFFF)
            if described != begin + function:
                found.append(f"unwinding: the function at {function:#x} has no description")
                break
            if table:
                wanted[function] = table - begin
        elif encoding & HAS_TABLE:
            wanted[function] = table_of.get(function)
            if not encoding & PERSONALITY:
                found.append(f"unwinding: nothing reads the table of exceptions of the function at {function:#x}")
                break
    if not wanted or wanted != table_of:
        found.append(f"unwinding: {len(wanted)} functions with tables of exceptions do not fit {len(table_of)} tables")
    damaged = [at for at in table_of.values() if not _is_table(tables[1], at + begin - tables[0])]
    if damaged:
        found.append(f"unwinding: {len(damaged)} of {len(table_of)} tables of exceptions are damaged")
    return found


def _described_in_dwarf(frames, offset):
    """(address of the function, address of its table of exceptions or 0) of the description at `offset`."""
    address, data = frames
    size, back = struct.unpack_from("<2I", data, offset)
    common = offset + 4 - back
    common_size, _, version = struct.unpack_from("<2IB", data, common) if 0 <= common < offset else (0, 0, 0)
    if not size or not common_size or version != 1:
        raise Malformed(f"no description of a function at {offset:#x} in __eh_frame")
    reader = Reader(data, common + 9)
    letters = reader.text()
    reader.uleb(), reader.uleb(), reader.uleb()  # Alignments, and the register of the return address.
    encodings = {}
    if not letters.startswith("z"):
        raise Malformed(f"a description of functions of the kind {letters!r}")
    reader.uleb()
    for letter in letters[1:]:
        encodings[letter] = reader.byte()
        if letter == "P":
            reader.offset += _size_of(encodings[letter])
    at = offset + 8

    def relative(encoding):
        return address + at + struct.unpack_from({4: "<i", 8: "<q"}[_size_of(encoding)], data, at)[0]

    function = relative(encodings["R"])
    at += 2 * _size_of(encodings["R"])
    reader = Reader(data, at)
    if not reader.uleb() or "L" not in encodings:
        return function, 0
    at = reader.offset
    return function, relative(encodings["L"])


def _size_of(encoding):
    relative_to_itself = 0x10
    sizes = {0x00: 8, 0x0B: 4}
    if encoding & 0x70 != relative_to_itself or encoding & 0x0F not in sizes:
        raise Malformed(f"an address of the form {encoding:#x} in __eh_frame")
    return sizes[encoding & 0x0F]


def _entries(info):
    """({function: how its frame is undone}, {function: its table of exceptions}), all of them offsets in the image."""
    version, common, common_count, _, _, index, index_count = struct.unpack_from("<7I", info)
    if version != 1 or index_count < 2:
        raise Malformed(f"unwinding information of version {version} with {index_count} pages")
    common_encodings = struct.unpack_from(f"<{common_count}I", info, common)
    pages = [struct.unpack_from("<3I", info, index + 12 * number) for number in range(index_count)]
    functions = {}
    for first, page, _ in pages[:-1]:  # The last one only says where all ends.
        kind, entries, count, encodings, encodings_count = struct.unpack_from("<I4H", info, page)
        if kind == 2:
            functions.update(struct.unpack_from("<2I", info, page + entries + 8 * number) for number in range(count))
        elif kind == 3:
            all_encodings = common_encodings + struct.unpack_from(f"<{encodings_count}I", info, page + encodings)
            for entry in struct.unpack_from(f"<{count}I", info, page + entries):
                if entry >> 24 >= len(all_encodings):
                    raise Malformed("unwinding information with an encoding that is not there")
                functions[first + (entry & 0xFFFFFF)] = all_encodings[entry >> 24]
        else:
            raise Malformed(f"a page of unwinding information of the kind {kind}")
    begin, end = pages[0][2], pages[-1][2]
    if not 0 <= begin <= end <= len(info) or (end - begin) % 8:
        raise Malformed("the list of the tables of exceptions is not inside the unwinding information")
    return functions, dict(struct.iter_unpack("<2I", info[begin:end]))


def _is_table(data, offset):
    if not 0 <= offset < len(data):
        return False
    reader = Reader(data, offset)
    omitted, uleb, four_bytes = 0xFF, 0x01, 0x03
    try:
        if reader.byte() != omitted:  # Landing pads count from the beginning of the function.
            return False
        if reader.byte() != omitted:
            reader.uleb()  # Where the types are.
        form, size = reader.byte(), reader.uleb()
    except Malformed:
        return False
    return form in (uleb, four_bytes) and reader.offset + size <= len(data)

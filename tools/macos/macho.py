"""Reads Mach-O files, the binaries of macOS, and the stub libraries that stand for its own, on any system.

Only what the inspection of the bundle asks for, and only 64-bit little-endian images. What dyld goes by is read where
dyld reads it: imports from the binding information and exports from the trie, not from the symbol table, which a tool
may have stripped.
"""

import hashlib
import os
import re
import struct

ARCHITECTURES = {0x01000007: "x86_64", 0x0100000C: "arm64"}
EXECUTABLE, DYLIB, DSYM = 2, 6, 10
# The variant of the processor that every machine of its kind is. The other one of arm64 is arm64e, with signed
# pointers, in which the system starts only its own programs. The highest byte of a variant holds flags.
PLAIN_VARIANTS = {"x86_64": 3, "arm64": 0}

# Flags of an image: names are looked up in the library that they were linked against; it can lie anywhere in memory;
# what is on the stack may be executed.
MH_TWOLEVEL, MH_PIE, MH_ALLOW_STACK_EXECUTION = 0x80, 0x200000, 0x20000
# Rights to memory.
WRITE, EXECUTE = 2, 4

LC_SYMTAB = 0x2
LC_LOAD_DYLIB = 0xC
LC_ID_DYLIB = 0xD
LC_LOAD_DYLINKER = 0xE
LC_SEGMENT_64 = 0x19
LC_UUID = 0x1B
LC_CODE_SIGNATURE = 0x1D
LC_VERSION_MIN_MACOSX = 0x24
LC_DYLD_ENVIRONMENT = 0x27
LC_BUILD_VERSION = 0x32
LC_RPATH = 0x8000001C
LC_MAIN = 0x80000028
LC_DYLD_INFO = (0x22, 0x80000022)
LC_DYLD_EXPORTS_TRIE = 0x80000033
LC_DYLD_CHAINED_FIXUPS = 0x80000034
# However a library is loaded, it counts in the order of libraries.
LOADING = {LC_LOAD_DYLIB: "", 0x80000018: "weakly", 0x8000001F: "as a re-export", 0x20: "lazily", 0x80000023: "upwards"}

# Where an import is looked up when that is no single library.
SPECIAL_PLACES = {0: "this image", -1: "the program", -2: "every image", -3: "every image with weak definitions"}


class Malformed(Exception):
    """The file is not what it should be; the message says where."""


def version_text(number):
    """A packed version as X.Y, or X.Y.Z when Z is not 0."""
    major, minor, patch = number >> 16, number >> 8 & 0xFF, number & 0xFF
    return f"{major}.{minor}.{patch}" if patch else f"{major}.{minor}"


def c_string(data, offset):
    end = data.find(b"\0", offset)
    if offset < 0 or offset >= len(data) or end < 0:
        raise Malformed(f"no text at {offset:#x}")
    return data[offset:end].decode("utf-8")


class Reader:
    """Walks along bytes that hold LEB128 numbers and texts."""

    def __init__(self, data, offset=0):
        self.data, self.offset = data, offset

    def at_end(self):
        return self.offset >= len(self.data)

    def byte(self):
        if self.at_end():
            raise Malformed("the data ends too early")
        self.offset += 1
        return self.data[self.offset - 1]

    def uleb(self):
        value = shift = 0
        while True:
            byte = self.byte()
            value |= (byte & 0x7F) << shift
            shift += 7
            if byte < 0x80:
                return value

    def text(self):
        text = c_string(self.data, self.offset)
        self.offset += len(text.encode("utf-8")) + 1
        return text


def slices(data):
    """The images in a file by architecture: {"arm64": bytes, ...}. A thin file has one."""
    if data[:4] != b"\xca\xfe\xba\xbe":
        image = Image(data)
        return {image.architecture: image}
    found = {}
    (count,) = struct.unpack_from(">I", data, 4)
    end = 8 + 20 * count
    for index in range(count):
        cpu, variant, offset, size, align = struct.unpack_from(">5I", data, 8 + 20 * index)
        if offset % (1 << align) or offset + size > len(data):
            raise Malformed(f"slice {index} is not aligned or not inside the file")
        if offset < end or data[end:offset].strip(b"\0"):
            raise Malformed(f"bytes before slice {index} belong to none")
        image = Image(data[offset : offset + size])
        if (ARCHITECTURES.get(cpu), variant) != (image.architecture, image.variant) or image.architecture in found:
            raise Malformed(f"slice {index} is not what the file's header says, or there twice")
        found[image.architecture] = image
        end = offset + size
    if end != len(data):
        raise Malformed(f"{len(data) - end} bytes behind the last slice")
    return found


class Segment:
    """A part of an image that is mapped as one, with its sections by name: (address, size, place in the image)."""

    def __init__(self, command):
        name, self.address, self.size, self.offset, self.file_size = struct.unpack_from("<16s4Q", command, 8)
        self.name = name.rstrip(b"\0").decode()
        self.highest_rights, self.rights, count = struct.unpack_from("<3I", command, 56)
        self.sections = {}
        for index in range(count):
            section, address, size, offset = struct.unpack_from("<16s16x2QI", command, 72 + 80 * index)
            self.sections[section.rstrip(b"\0").decode()] = (address, size, offset)


def signed_anew(data):
    """The image in `data` with the hash of every page in its ad-hoc signature made right. Needs no signature."""
    changed = bytearray(data)
    for command in Image(data)._all(LC_CODE_SIGNATURE):
        (signature,) = struct.unpack_from("<I", command, 8)
        (parts,) = struct.unpack_from(">I", data, signature + 8)
        for kind, offset in struct.iter_unpack(">2I", data[signature + 12 : signature + 12 + 8 * parts]):
            if kind != 0:
                continue
            directory = signature + offset
            hashes, _, _, count, limit = struct.unpack_from(">5I", data, directory + 16)
            page = 1 << data[directory + 39]
            for index in range(count):
                content = changed[index * page : min((index + 1) * page, limit)]
                place = directory + hashes + 32 * index
                changed[place : place + 32] = hashlib.sha256(content).digest()
    return bytes(changed)


class Image:
    """One architecture's image."""

    def __init__(self, data):
        self.data = data
        if len(data) < 32 or data[:4] != b"\xcf\xfa\xed\xfe":
            raise Malformed("no 64-bit Mach-O image")
        cpu, self.variant, self.kind, count, _, self.flags, _ = struct.unpack_from("<7I", data, 4)
        self.architecture = ARCHITECTURES.get(cpu, f"processor {cpu:#x}")
        self.commands = []  # (number, bytes of the whole command)
        offset = 32
        for _ in range(count):
            number, size = struct.unpack_from("<2I", data, offset)
            if size < 8 or offset + size > len(data):
                raise Malformed(f"load command at {offset:#x} has the size {size}")
            self.commands.append((number, data[offset : offset + size]))
            offset += size

    def _all(self, *numbers):
        return [command for number, command in self.commands if number in numbers]

    def _text_of(self, command):
        """The text of a command whose third word says where in it the text begins."""
        return c_string(command, struct.unpack_from("<I", command, 8)[0])

    def _piece(self, offset, size):
        if offset + size > len(self.data):
            raise Malformed(f"{size} bytes at {offset:#x} are not inside the image")
        return self.data[offset : offset + size]

    def has_command(self, number):
        return bool(self._all(number))

    def run_paths(self):
        return [self._text_of(command) for command in self._all(LC_RPATH)]

    def libraries(self):
        """The libraries that it loads; imports count them from 1."""
        return [self._text_of(command) for command in self._all(*LOADING)]

    def oddly_loaded_libraries(self):
        """The libraries that are not simply loaded, as texts that say how they are."""
        return [f"{self._text_of(command)} {LOADING[kind]}" for kind, command in self.commands if LOADING.get(kind)]

    def loaders(self):
        """The programs that are to load it."""
        return [self._text_of(command) for command in self._all(LC_LOAD_DYLINKER)]

    def segments(self):
        return [Segment(command) for command in self._all(LC_SEGMENT_64)]

    def section(self, segment, name):
        """(address, content) of a section, or None."""
        for found in self.segments():
            if found.name == segment and name in found.sections:
                address, size, offset = found.sections[name]
                return address, self._piece(offset, size)
        return None

    def external_symbols(self):
        """The symbols that the symbol table offers to other images."""
        found = set()
        for command in self._all(LC_SYMTAB):
            symbols, count, texts, texts_size = struct.unpack_from("<4I", command, 8)
            strings = self._piece(texts, texts_size)
            for name, kind, _, _, _ in struct.iter_unpack("<I2BHQ", self._piece(symbols, 16 * count)):
                debugging, defined, external = kind & 0xE0, kind & 0x0E, kind & 0x01
                if not debugging and defined and external:
                    found.add(c_string(strings, name))
        return found

    def identity(self):
        """The library's own name, current version and compatibility version, or None."""
        for command in self._all(LC_ID_DYLIB):
            _, current, compatible = struct.unpack_from("<3I", command, 12)
            return self._text_of(command), version_text(current), version_text(compatible)
        return None

    def minimum_versions(self):
        """The versions of macOS that it asks for, one for each command that says so."""
        platform_macos = 1
        found = []
        for command in self._all(LC_BUILD_VERSION):
            platform, minimum = struct.unpack_from("<2I", command, 8)
            found.append(version_text(minimum) if platform == platform_macos else f"platform {platform}")
        for command in self._all(LC_VERSION_MIN_MACOSX):
            found.append(version_text(struct.unpack_from("<I", command, 8)[0]))
        return found

    def sdk_versions(self):
        """The versions of the SDK that it was built with, as packed numbers, one for each command that says so."""
        found = [struct.unpack_from("<I", command, 16)[0] for command in self._all(LC_BUILD_VERSION)]
        return found + [struct.unpack_from("<I", command, 12)[0] for command in self._all(LC_VERSION_MIN_MACOSX)]

    def uuid(self):
        """What binds debugging symbols to their image; empty without one."""
        return b"".join(command[8:24] for command in self._all(LC_UUID))

    # --- Imports

    def imports(self):
        """The set of (library or place, symbol)."""
        return {(place, symbol) for place, symbol, _, _ in self.import_entries()}

    def import_entries(self):
        """The set of (library or place, symbol, whether it may be missing, whether it is bound at its first use)."""
        found = set()
        libraries = self.libraries()

        def place(ordinal):
            if ordinal in SPECIAL_PLACES:
                return SPECIAL_PLACES[ordinal]
            if not 0 < ordinal <= len(libraries):
                raise Malformed(f"an import from library {ordinal} of {len(libraries)}")
            return libraries[ordinal - 1]

        for command in self._all(*LC_DYLD_INFO):
            _, _, bind, bind_size, weak, weak_size, lazy, lazy_size = struct.unpack_from("<8I", command, 8)
            for ordinal, symbol, optional in self._bound(bind, bind_size):
                found.add((place(ordinal), symbol, optional, False))
            for ordinal, symbol, optional in self._bound(lazy, lazy_size):
                found.add((place(ordinal), symbol, optional, True))
            for _, symbol, optional in self._bound(weak, weak_size):
                found.add((place(-3), symbol, optional, False))
        for command in self._all(LC_DYLD_CHAINED_FIXUPS):
            for ordinal, symbol, optional in self._chained(*struct.unpack_from("<2I", command, 8)):
                found.add((place(ordinal), symbol, optional, False))
        return found

    def _bound(self, offset, size):
        """What a stream of binding instructions names: the set of (ordinal, symbol, whether it may be missing)."""
        reader = Reader(self._piece(offset, size))
        found = set()
        ordinal, symbol, optional = 0, None, False
        while not reader.at_end():
            byte = reader.byte()
            instruction, value = byte & 0xF0, byte & 0x0F
            if instruction == 0x10:
                ordinal = value
            elif instruction == 0x20:
                ordinal = reader.uleb()
            elif instruction == 0x30:
                ordinal = value - 16 if value else 0
            elif instruction == 0x40:
                symbol = reader.text()
                weak_import, strong_definition = 0x1, 0x8
                optional = bool(value & weak_import)
                if value & strong_definition:  # Nothing is bound here, but it takes the place of others' weak ones.
                    found.add((-3, symbol, optional))
            elif instruction in (0x60, 0x70, 0x80):  # What to add to the address, and where to bind.
                reader.uleb()
            elif instruction in (0x90, 0xA0, 0xB0, 0xC0):
                found.add((ordinal, symbol, optional))
                for _ in range({0xA0: 1, 0xC0: 2}.get(instruction, 0)):
                    reader.uleb()
            elif instruction not in (0x00, 0x50):  # The end, of one lazy import too; the type.
                raise Malformed(f"binding instruction {byte:#x}")
        return found

    def _chained(self, offset, size):
        data = self._piece(offset, size)
        _, _, imports, symbols, count, form, symbols_form = struct.unpack_from("<7I", data)
        if symbols_form != 0 or form not in (1, 2, 3):
            raise Malformed(f"chained fix-ups of the forms {form} and {symbols_form}")
        entry_bytes = {1: 4, 2: 8, 3: 16}[form]
        found = set()
        for index in range(count):
            at = imports + index * entry_bytes
            if form == 3:
                (entry,) = struct.unpack_from("<Q", data, at)
                ordinal, optional, name, ordinals = entry & 0xFFFF, entry >> 16 & 1, entry >> 32, 1 << 16
            else:
                (entry,) = struct.unpack_from("<I", data, at)
                ordinal, optional, name, ordinals = entry & 0xFF, entry >> 8 & 1, entry >> 9, 1 << 8
            if ordinal > ordinals - 16:
                ordinal -= ordinals
            found.add((ordinal, c_string(data, symbols + name), bool(optional)))
        return found

    # --- Exports

    def exports(self):
        tries = [struct.unpack_from("<2I", command, 40) for command in self._all(*LC_DYLD_INFO)]
        tries += [struct.unpack_from("<2I", command, 8) for command in self._all(LC_DYLD_EXPORTS_TRIE)]
        found = set()
        for offset, size in tries:
            trie = self._piece(offset, size)
            pending, seen = ([(0, "")] if size else []), set()
            while pending:
                node, name = pending.pop()
                if node in seen:
                    raise Malformed("the exports go round in a circle")
                seen.add(node)
                reader = Reader(trie, node)
                export_bytes = reader.uleb()
                if export_bytes:
                    found.add(name)
                reader.offset += export_bytes
                for _ in range(reader.byte()):
                    edge = reader.text()
                    pending.append((reader.uleb(), name + edge))
        return found

    # --- Signature

    def signature_faults(self):
        """What is wrong with the ad-hoc signature: a list of texts, empty for a good one.

        The signature must cover everything before it, and every page's hash must be that of the page.
        """
        commands = self._all(LC_CODE_SIGNATURE)
        if len(commands) != 1:
            return [f"{len(commands)} signatures"]
        offset, size = struct.unpack_from("<2I", commands[0], 8)
        blobs = self._signature_blobs(self._piece(offset, size))
        if offset + size != len(self.data):
            return ["the signature is not the end of the image"]
        directory = blobs.get(0)
        if directory is None:
            return ["the signature has no code directory"]

        magic, length, version, flags, hashes, name, special_count, count, limit = struct.unpack_from(">9I", directory)
        hash_bytes, hash_kind, _, page_shift = struct.unpack_from(">4B", directory, 36)
        sha256, ad_hoc, runs_main = 2, 0x2, 0x1
        if magic != 0xFADE0C02 or length != len(directory) or (hash_kind, hash_bytes) != (sha256, 32):
            return ["the code directory is not one of SHA-256 hashes"]
        faults = []
        if not flags & ad_hoc:
            faults.append(f"the signature is not an ad-hoc one, its flags are {flags:#x}")
        if 0x10000 in blobs and len(blobs[0x10000]) > 8:
            faults.append("an ad-hoc signature has no certificate")
        if not c_string(directory, name):
            faults.append("the signature names nobody")
        knows_kind = version >= 0x20400 and struct.unpack_from(">Q", directory, 80)[0] & runs_main
        if self.kind == EXECUTABLE and not knows_kind:
            faults.append("the signature does not know that this is a program")
        if limit != offset:
            faults.append(f"the signature covers {limit:#x} bytes of {offset:#x}")
        page = 1 << page_shift
        if count != -(-limit // page):
            faults.append(f"the signature has {count} pages of {page} bytes for {limit:#x} bytes")
        wrong = []
        for index in range(count):
            expected = directory[hashes + index * hash_bytes : hashes + (index + 1) * hash_bytes]
            content = self.data[index * page : min((index + 1) * page, limit)]
            if hashlib.sha256(content).digest() != expected:
                wrong.append(index)
        if wrong:
            faults.append(f"the hashes of {len(wrong)} of {count} pages are wrong, the first is page {wrong[0]}")
        for slot in range(1, special_count + 1):
            expected = directory[hashes - slot * hash_bytes : hashes - (slot - 1) * hash_bytes]
            if slot in blobs and hashlib.sha256(blobs[slot]).digest() != expected:
                faults.append(f"the hash of the signature's part {slot} is wrong")
        return faults

    @staticmethod
    def _signature_blobs(data):
        magic, length, count = struct.unpack_from(">3I", data)
        if magic != 0xFADE0CC0 or length > len(data):
            raise Malformed("the signature is not a set of parts")
        found = {}
        for index in range(count):
            kind, offset = struct.unpack_from(">2I", data, 12 + 8 * index)
            (blob_length,) = struct.unpack_from(">I", data, offset + 4)
            if offset + blob_length > length:
                raise Malformed(f"part {kind} of the signature is not inside it")
            found[kind] = data[offset : offset + blob_length]
        return found


# --- Stub libraries


class StubLibraries:
    """What the system's libraries export, read from the stub files of an SDK."""

    # A processor runs its own images with the system's libraries for the variant with signed pointers.
    TARGETS = {"arm64": {"arm64-macos", "arm64e-macos"}, "x86_64": {"x86_64-macos"}}

    def __init__(self, sdk):
        self.sdk = sdk
        self.documents = {}  # By install name: a list of (key, targets, names).

    def exports(self, library, architecture):
        """The symbols of a library and of those that it passes on, or None when the SDK has no stub for it."""
        if not self._load(library):
            return None
        found, pending, seen = set(), [library], set()
        while pending:
            name = pending.pop()
            if name in seen or not self._load(name):
                continue
            seen.add(name)
            for key, targets, names in self.documents[name]:
                if not targets & self.TARGETS[architecture]:
                    continue
                if key == "libraries":
                    pending.extend(names)
                else:
                    found.update(names)
        return found

    def _load(self, library):
        if library in self.documents:
            return True
        # libSystem.B.dylib's stub is libSystem.tbd beside, or as well as, libSystem.B.tbd.
        stem = re.sub(r"\.dylib$", "", library.lstrip("/"))
        for path in (stem, re.sub(r"\.\w+$", "", stem)):
            path = os.path.join(self.sdk, path + ".tbd")
            if os.path.isfile(path):
                with open(path, encoding="utf-8") as file:
                    for document in re.split(r"^--- !tapi-tbd.*$", file.read(), flags=re.MULTILINE):
                        self._add(document)
                break
        return library in self.documents

    def _add(self, document):
        name = re.search(r"^install-name:\s*'?([^'\s]+)'?\s*$", document, flags=re.MULTILINE)
        if not name:
            return
        entries = self.documents.setdefault(name.group(1), [])
        targets = set()
        for key, names in re.findall(r"^\s+(?:- )?([\w-]+):\s*\[([^\]]*)\]", document, flags=re.MULTILINE):
            values = {value.strip().strip("'\"") for value in names.split(",")}
            if key == "targets":
                targets = values
            elif key in ("symbols", "weak-symbols", "thread-local-symbols", "libraries"):
                entries.append((key, targets, values))

"""Pretty printers of gdb for the values of libqx.

Installed where gdb loads it by itself with the library. Elsewhere: source libqx-gdb.py.

A program has the debug information of a class with virtual functions only where its library was
built with it, so that the printers could not ask for a member. They read the memory: objects tell
their class by their virtual table, and where the members of a class lie stands in this file, for the
library of the same version on a 64-bit machine. tests/gdb holds it against the library.
"""

import itertools
import struct

import gdb
import gdb.printing

NESTING = 3  # of containers in one line


# --- memory

def read(address, layout):
    """The values at an address, as struct.unpack_from gives them."""
    size = struct.calcsize(layout)
    return struct.unpack(layout, gdb.selected_inferior().read_memory(address, size).tobytes())


def pointer(address):
    return read(address, "=Q")[0]


def bytes_at(address, count):
    return gdb.selected_inferior().read_memory(address, count).tobytes() if count > 0 else b""


def members(address):
    """Where the members of an object would count from without the link by which a library that lists
    its live objects has each of them in the list: it lies in front of them."""
    try:
        gdb.parse_and_eval("&QXLayoutOfListedObjects")
        return address + 24
    except gdb.error:
        return address


def limit():
    """How many elements or characters gdb is asked to show."""
    return gdb.parameter("print elements") or 1 << 30


# --- texts

ESCAPES = {'"': '\\"', "\\": "\\\\", "\n": "\\n", "\r": "\\r", "\t": "\\t", "\0": "\\000"}


def quoted(units, length):
    """The text of a number of UTF-16 units at an address, as a literal."""
    if length < 0 or (length > 0 and units == 0):
        return "<no text: %d units at %#x>" % (length, units)
    shown = min(length, limit())
    text = bytes_at(units, 2 * shown).decode("utf-16-le", "surrogatepass")
    out = ""
    for character in text:
        if character in ESCAPES:
            out += ESCAPES[character]
        elif character.isprintable() or character == " ":
            out += character
        else:
            out += "\\u%04x" % ord(character)
    # What the terminal cannot show must not make gdb give up.
    charset = getattr(gdb, "host_charset", lambda: "ascii")()
    out = out.encode(charset, "backslashreplace").decode(charset)
    return 'u"' + out + '"' + ("..." if shown < length else "")


def string_text(address):
    units, block, length = read(members(address) + 40, "=QQi")
    if length < 0:
        return "text of the buffer at %#x" % units
    return quoted(units, length)


def light_text(address):
    """Any class of light string: all begin with a Str1."""
    buffer, offset, length = read(address + 8, "=Qii")
    return quoted(pointer(buffer + 8) + 2 * offset, length) if buffer else 'u""'


# --- numbers and identifiers

def boxed(code):
    """The printer of a class of boxed numbers whose value has a struct code."""
    return lambda address: str(read(members(address) + 32, "=" + code)[0])


def big_integer(address):
    begin = members(address)
    negative, size = read(begin + 32, "=?3xi")
    value = int.from_bytes(bytes_at(pointer(begin + 48), size), "little")
    return str(-value if negative else value)


def big_decimal(address):
    unscaled = members(address) + 32
    text = big_integer(unscaled)
    scale, = read(members(unscaled) + 56, "=i")
    if scale <= 0:
        return text + ("E+%d" % -scale if scale else "")
    sign = "-" if text[0] == "-" else ""
    digits = text.lstrip("-").rjust(scale + 1, "0")
    return sign + digits[:-scale] + "." + digits[-scale:]


def guid(address):
    first, second, third, rest = read(address, "=IHH8s")
    return "{%08X-%04X-%04X-%s-%s}" % (
        first, second, third, rest[:2].hex().upper(), rest[2:].hex().upper())


# --- containers: a count, and the elements as lists of texts with one (value) or two (key, value)

def array_list(address, depth):
    begin, end = read(members(address) + 48, "=QQ")
    return (end - begin) // 8, ([describe(pointer(slot), depth)] for slot in range(begin, end, 8))


def linked_list(address, depth):
    def nodes():
        node = pointer(members(address) + 48)
        for _ in range(size):
            yield [describe(pointer(node + 16), depth)]
            node = pointer(node)

    size, = read(members(address) + 64, "=Q")
    return size, nodes()


def hash_entries(address, depth):
    """The entries in the order of a walk: from the last bucket down."""
    length, table, slots = read(members(address) + 60, "=i8xQQ")
    for bucket in reversed(range(length if table else 0)):
        slot, = read(table + 4 * bucket, "=I")
        while slot:
            key, value, entry, slot = read(slots + 32 * (slot - 1), "=QQQ4xI")
            yield [describe(key, depth),
                   describe(pointer(members(entry) + 32) if entry else value, depth)]


def hash_map(address, depth):
    return read(members(address) + 56, "=i")[0], hash_entries(address, depth)


def hash_set(address, depth):
    size, entries = hash_map(pointer(members(address) + 40), depth)
    return size, ([key] for key, _ in entries)


def keyed_entries(address, entry_size):
    """The addresses of the entries of an integer or string hash map, group by group."""
    table = pointer(members(address) + 32)
    buckets, bits, groups = read(table + 16, "=I12xI4xQ")
    for group in range((buckets - 1 >> bits) + 1 if groups else 0):
        entries, count = read(groups + 64 * group, "=QI")
        yield from range(entries, entries + entry_size * count, entry_size)


def keyed_size(address):
    return read(pointer(members(address) + 32) + 4, "=i")[0]


def integer_hash_map(address, depth):
    def entry(at):
        value, key = read(at, "=Qi")
        return [str(key), describe(value, depth)]

    return keyed_size(address), map(entry, keyed_entries(address, 16))


def string_hash_map(address, depth):
    def entry(at):
        value, length = read(at, "=Q4xi")
        text = at + 16 if length <= 24 else pointer(at + 16)
        return [quoted(text, length), describe(value, depth)]

    return keyed_size(address), map(entry, keyed_entries(address, 64))


SCALARS = {
    "qx::String": string_text,
    "qx::Str1": light_text,
    "qx::Integer8": boxed("b"), "qx::UInteger8": boxed("B"),
    "qx::Integer16": boxed("h"), "qx::UInteger16": boxed("H"),
    "qx::Integer32": boxed("i"), "qx::UInteger32": boxed("I"),
    "qx::Integer64": boxed("q"), "qx::UInteger64": boxed("Q"),
    "qx::Float": boxed("f"), "qx::Double": boxed("d"),
    "qx::math::BigInteger": big_integer,
    "qx::math::BigDecimal": big_decimal,
    "qx::util::Guid": guid,
    "QXGUID": guid,
}
CONTAINERS = {
    "qx::collections::pcom::ArrayList": array_list,
    "qx::collections::pcom::LinkedList": linked_list,
    "qx::collections::pcom::HashMap": hash_map,
    "qx::collections::pcom::HashSet": hash_set,
    "qx::collections::IntegerHashMap": integer_hash_map,
    "qx::collections::StringHashMap": string_hash_map,
}


# --- objects

def class_of(address):
    """The name of the class of the object with a part at an address, and where it begins."""
    table = pointer(address)
    top, info = read(table - 16, "=qQ")
    name = pointer(info + 8)
    mangled = itertools.takewhile(bool, (bytes_at(name + i, 1)[0] for i in itertools.count()))
    name = gdb.execute("demangle _ZTS" + bytes(mangled).lstrip(b"*").decode("ascii"),
                       to_string=True)
    return name.strip().replace("typeinfo name for ", "", 1), address + top


def describe(address, depth=1):
    """An object in one line, whatever its class."""
    if not address:
        return "null"
    try:
        name, begin = class_of(address)
        if name in SCALARS:
            return SCALARS[name](begin)
        if name not in CONTAINERS or depth > NESTING:
            return "%s at %#x" % (name, begin)
        size, elements = CONTAINERS[name](begin, depth + 1)
        shown = [" = ".join(element) for element in itertools.islice(elements, limit())]
        return "{" + ", ".join(shown + ["..."] * (len(shown) < size)) + "}"
    except (gdb.error, struct.error, UnicodeError):
        return "<no object at %#x>" % address


class ScalarPrinter:
    def __init__(self, value, text):
        self.address, self.text = int(value.address), text

    def to_string(self):
        return self.text(self.address)


class ContainerPrinter:
    """Of the object itself, or of the one that a typed face wraps."""

    def __init__(self, name, address):
        self.name = name
        self.size, self.elements = CONTAINERS[name](address, 1)

    def to_string(self):
        return "%s of %d" % (self.name.rpartition("::")[2], self.size)

    def children(self):
        for number, element in enumerate(self.elements):
            if len(element) == 1:
                yield "[%d]" % number, element[0]
            else:
                yield "key %d" % number, element[0]
                yield "value %d" % number, element[1]

    def display_hint(self):
        return "map" if self.name.endswith("Map") else "array"


def face_printer(value):
    name, address = class_of(pointer(members(int(value.address)) + 32))
    return ContainerPrinter(name, address) if name in CONTAINERS else None


class ReferencePrinter:
    def __init__(self, value):
        self.address = int(value["m_pointer"])

    def to_string(self):
        return "reference to " + describe(self.address) if self.address else "null reference"


class LightMapPrinter:
    """Str1HashMap, a template: here the debug information is that of the program."""

    def __init__(self, value):
        self.value = value
        self.entry = gdb.lookup_type(str(value.type.strip_typedefs().unqualified()) + "::Entry")

    def to_string(self):
        return "Str1HashMap of %d" % self.value["m_size"]

    def children(self):
        begin, end = read(int(self.value["m_table"].address), "=QQ")
        number = 0
        for slot in range(begin, end, 8):
            at = pointer(slot)
            while at:
                entry = gdb.Value(at).cast(self.entry.pointer()).dereference()
                yield "key %d" % number, light_text(int(entry["key"].address))
                yield "value %d" % number, entry["value"]
                at = pointer(int(entry["next"].address))
                number += 1

    def display_hint(self):
        return "map"


def build():
    printers = gdb.printing.RegexpCollectionPrettyPrinter("libqx")

    def add(name, pattern, printer):
        printers.add_printer(name, "^" + pattern + "$", printer)

    for name, text in SCALARS.items():
        add(name, name, lambda value, text=text: ScalarPrinter(value, text))
    add("light strings", "qx::Str1(Local|Static|Wrap|Embedded|Fixed<.*>)",
        lambda value: ScalarPrinter(value, light_text))
    for name in CONTAINERS:
        add(name, name,
            lambda value, name=name: ContainerPrinter(name, int(value.address)))
    add("typed faces", "qx::collections::(Collection|List|Set|Map)<.*>", face_printer)
    add("qx::Reference", "qx::Reference<.*>", ReferencePrinter)
    add("qx::Str1HashMap", "qx::Str1HashMap<.*>", LightMapPrinter)
    return printers


gdb.printing.register_pretty_printer(gdb.current_objfile(), build(), replace=True)

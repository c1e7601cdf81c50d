"""GDB pretty printers for the strings, streams and stream buffers of nalo.

GDB loads the installed copy with the shared library. For a static library, or
a copy that is not installed: (gdb) source .../nalo_printers.py

The printers access members by name, so they need the debug information of the
classes. GCC and Clang emit that of the streams only in the library: build it
with -g, or the program with -femit-class-debug-always (GCC) or
-fstandalone-debug (Clang).
"""

import gdb
import gdb.printing


def text(begin, size):
    """The characters at a pointer, as GDB prints a string."""
    char = begin.type.target().unqualified()
    limit = gdb.parameter("print elements") or 0
    shown = min(size, limit) if limit else size
    if shown == 0:
        return 'L""' if char.sizeof > 1 else '""'
    array = begin.cast(char.array(shown - 1).pointer()).dereference()
    quoted = array.format_string(repeat_threshold=0)
    return quoted + "..." if shown < size and quoted[-1] == '"' else quoted


def bits(value, none):
    """The names of the bits set in one of the library's bitmasks."""
    number = int(value)
    names = [
        field.name.rpartition("_S_")[2]
        for field in value.type.strip_typedefs().fields()
        if number & field.enumval and field.enumval & (field.enumval - 1) == 0
    ]
    return "|".join(names) or none


EXPOSED_WORD = 1  # string_base::exposed_word_; not in the debug information


class StringPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        value = self.value
        in_place = value["bx_"]["buf_"]
        char = in_place.type.target().unqualified()
        capacity, size = int(value["rsrv_"]), int(value["size_"])
        # Bxty::ptr_, the counter before it and Bxty::exposed(); string_base
        # describes the three modes.
        pointer = value["bx_"]["ptr_"].cast(char.pointer())
        if capacity == 2**64 - 1:
            return f"{text(pointer, size)} (read-only, {size})"
        if size > capacity or capacity < int(value["local_"]):
            return f"<no string: {size} characters in room for {capacity}>"
        if capacity == int(value["local_"]):
            begin = in_place.address.cast(char.pointer())
            return f"{text(begin, size)} (in place, {size} of {capacity})"
        counter = gdb.lookup_type("unsigned long").pointer()
        users = int((pointer.cast(counter) - 1).dereference())
        mode = f"heap, {size} of {capacity}, {users} user{'s'[:users != 1]}"
        if int(value["bx_"]["aux_"][EXPOSED_WORD]):
            mode += ", handed out for writing"
        return f"{text(pointer, size)} ({mode})"


class ClassPrinter:
    """Shows what members() of a derived printer yields."""

    def __init__(self, value):
        self.value = value
        self.is_known = bool(value.type.strip_typedefs().fields())

    def to_string(self):
        return None if self.is_known else "<no debug information>"

    def children(self):
        return self.members() if self.is_known else iter(())


class BufferPrinter(ClassPrinter):
    def members(self):
        yield "get area", self.area("in", "taken", "to read")
        yield "put area", self.area("out", "written", "free")

    def area(self, which, before, behind):
        begin, current, end = (
            self.value[f"{which}_{part}_"] for part in ("beg", "cur", "end")
        )
        if int(begin) == int(end) == 0:
            return "none"
        if not int(begin) <= int(current) <= int(end):
            return f"<out of order: {begin}, {current}, {end}>"
        # What is still to be read, or what was written.
        of_interest = (current, end) if which == "in" else (begin, current)
        content = text(of_interest[0], int(of_interest[1] - of_interest[0]))
        return (f"{int(current - begin)} {before}, "
                f"{int(end - current)} {behind}: {content}")


class DescriptorPrinter(BufferPrinter):
    def members(self):
        yield "fd", self.value["fd_"]
        yield from super().members()


class StreamPrinter(ClassPrinter):
    def members(self):
        value = self.value
        yield "state", bits(value["buf_state_"], "goodbit")
        yield "mask", bits(value["exception_"], "goodbit")
        yield "flags", bits(value["flags_"], "none")
        yield "width", value["width_"]
        yield "precision", value["precision_"]
        if value["fill_init_"]:
            yield "fill", value["fill_"]
        tie, buffer = value["tie_"], value["streambuf_"]
        yield "tie", tie if int(tie) else "none"
        yield "buffer", self.buffer(buffer) if int(buffer) else "none"

    def buffer(self, pointer):
        """The buffer of the stream: the one that it owns, unless another one was
        attached."""
        if self.value.type.strip_typedefs().name.startswith("nalo::owning_"):
            own = self.value["buffer_"]
            if own.address.cast(pointer.type) == pointer:
                return own
        return pointer.dereference()


class InputPrinter(StreamPrinter):
    def members(self):
        yield from super().members()
        yield "gcount", self.value["gcount_"]


def build():
    printers = gdb.printing.RegexpCollectionPrettyPrinter("nalo")
    for name, pattern, printer in (
        ("string", r"basic_string(_retval|_funcarg)?<.*>", StringPrinter),
        ("streambuf", r"basic_(stream|string|span|view)buf<.*>", BufferPrinter),
        ("fdbuf", r"(fdbuf|basic_filebuf<char,.*>)",
         DescriptorPrinter),
        ("stream", r"(basic_ios|(owning_stream<nalo::)?basic_ostream)<.*>",
         StreamPrinter),
        ("input", r"(owning_stream<nalo::)?basic_(istream|iostream)<.*>", InputPrinter),
    ):
        printers.add_printer(name, f"^nalo::{pattern}$", printer)
    return printers


gdb.printing.register_pretty_printer(gdb.current_objfile(), build(),
                                     replace=True)

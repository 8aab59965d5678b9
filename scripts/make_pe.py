#!/usr/bin/env python3
"""Writes small executables for the program-information tests: PE32 and
PE32+ images whose .rsrc section holds a version resource with chosen
strings, translation and fixed information; MZ stubs leading to NE, LE, LX
and W3 headers; a plain DOS program; and truncated or malformed variants.
The same bytes on every run.

Usage: scripts/make_pe.py DIR [--list]

--list prints the file names, one a line, without writing anything.
"""
import argparse
import os
import struct
import sys

FILE_ALIGN = 0x200
SECTION_ALIGN = 0x1000
NT_AT = 0x80  # where the newer header starts in every image here
MACHINE_I386 = 0x14C
MACHINE_AMD64 = 0x8664


def pad(data, align):
    return data + b"\0" * (-len(data) % align)


# ---- Version blocks --------------------------------------------------------

def block(key, value=b"", text=False, children=(), length=None,
          value_length=None):
    """One record: wLength, wValueLength, wType, the key, the value and the
    children, each 32-bit aligned. `length` and `value_length` override the
    computed fields for malformed variants."""
    out = bytearray(6) + (key + "\0").encode("utf-16-le")
    out = bytearray(pad(bytes(out), 4))
    out += value
    for child in children:
        out = bytearray(pad(bytes(out), 4))
        out += child
    if value_length is None:
        value_length = len(value) // 2 if text else len(value)
    struct.pack_into("<HHH", out, 0,
                     len(out) if length is None else length,
                     value_length, 1 if text else 0)
    return bytes(out)


def string(key, value, **kw):
    return block(key, (value + "\0").encode("utf-16-le"), text=True, **kw)


def string_table(lang_cp, strings):
    return block(lang_cp, text=True,
                 children=[string(k, v) for k, v in strings])


def fixed_info(major, minor, build, revision):
    ms = major << 16 | minor
    ls = build << 16 | revision
    return struct.pack("<13I", 0xFEEF04BD, 0x10000, ms, ls, ms, ls,
                       0x3F, 0, 0x40004, 1, 0, 0, 0)


def version_info(tables, translation=None, fixed=None):
    children = [block("StringFileInfo", text=True, children=tables)]
    if translation is not None:
        children.append(block("VarFileInfo", text=True, children=[
            block("Translation", struct.pack("<HH", *translation))]))
    return block("VS_VERSION_INFO", fixed or b"", children=children)


# ---- Resource tree ---------------------------------------------------------

def resource_section(rva, data, type_target=None, data_size=None):
    """A .rsrc section at `rva`: root (types 6 and 16), names, languages,
    one data entry, then the data. `type_target` replaces the type-16
    entry's target for malformed variants."""
    def directory(entries):
        out = struct.pack("<IIHHHH", 0, 0, 4, 0, 0, len(entries))
        for ident, target in entries:
            out += struct.pack("<II", ident, target)
        return out

    sub = 0x80000000
    root_at, empty_at, names_at, langs_at, entry_at = 0, 32, 48, 72, 96
    data_at = 112
    tree = directory([(6, sub | empty_at),
                      (16, type_target if type_target is not None
                       else sub | names_at)])
    tree += directory([])
    tree += directory([(1, sub | langs_at)])
    tree += directory([(0x409, entry_at)])
    assert len(tree) == entry_at and root_at == 0
    tree += struct.pack("<IIII", rva + data_at,
                        len(data) if data_size is None else data_size, 0, 0)
    return tree + data


# ---- Images ----------------------------------------------------------------

def mz_header(new_header=NT_AT, relocations=0x40):
    header = bytearray(64)
    struct.pack_into("<H", header, 0, 0x5A4D)
    struct.pack_into("<H", header, 24, relocations)
    struct.pack_into("<I", header, 60, new_header)
    return bytes(header)


def pe_image(rsrc, plus=False, **rsrc_kw):
    text_rva, rsrc_rva = SECTION_ALIGN, 2 * SECTION_ALIGN
    code = pad(b"\xC3", FILE_ALIGN)
    resources = resource_section(rsrc_rva, rsrc, **rsrc_kw)
    raw_rsrc = pad(resources, FILE_ALIGN)
    headers_size = FILE_ALIGN
    text_raw, rsrc_raw = headers_size, headers_size + len(code)
    image_size = rsrc_rva + len(pad(resources, SECTION_ALIGN))

    directories = [(0, 0)] * 16
    directories[2] = (rsrc_rva, len(resources))
    dirs = b"".join(struct.pack("<II", *d) for d in directories)
    if plus:
        optional = struct.pack(
            "<HBBIIIIIQIIHHHHHHIIIIHHQQQQII", 0x20B, 14, 0, len(code),
            len(raw_rsrc), 0, text_rva, text_rva, 0x140000000,
            SECTION_ALIGN, FILE_ALIGN, 6, 0, 21, 0, 6, 0, 0, image_size,
            headers_size, 0, 2, 0x8160, 0x100000, 0x1000, 0x100000, 0x1000,
            0, 16) + dirs
    else:
        optional = struct.pack(
            "<HBBIIIIIIIIIHHHHHHIIIIHHIIIIII", 0x10B, 14, 0, len(code),
            len(raw_rsrc), 0, text_rva, text_rva, rsrc_rva, 0x10000,
            SECTION_ALIGN, FILE_ALIGN, 4, 0, 21, 0, 4, 0, 0, image_size,
            headers_size, 0, 2, 0x8140, 0x100000, 0x1000, 0x100000,
            0x1000, 0, 16) + dirs
    assert len(optional) == (240 if plus else 224)
    coff = struct.pack("<HHIIIHH", MACHINE_AMD64 if plus else MACHINE_I386,
                       2, 0, 0, 0, len(optional), 0x22 if plus else 0x102)

    def section(name, rva, vsize, raw_size, raw_at, flags):
        return struct.pack("<8sIIIIIIHHI", name, vsize, rva, raw_size,
                           raw_at, 0, 0, 0, 0, flags)

    sections = (section(b".text", text_rva, 1, len(code), text_raw,
                        0x60000020) +
                section(b".rsrc", rsrc_rva, len(resources), len(raw_rsrc),
                        rsrc_raw, 0x40000040))
    head = mz_header() + b"\0" * (NT_AT - 64) + b"PE\0\0" + coff + optional
    head = pad(head + sections, FILE_ALIGN)
    assert len(head) == headers_size
    return head + code + raw_rsrc


def stub(signature, size=NT_AT + 248, **mz_kw):
    body = mz_header(**mz_kw) + b"\0" * (NT_AT - 64) + signature
    return (body + b"\0" * size)[:size]


# ---- The files -------------------------------------------------------------

LONG_COPYRIGHT = ("(c) Société Exemple " + "0123456789" * 25)[:250]

FRENCH = [("CompanyName", "Société Exemple"),
          ("FileVersion", "21.0.108.1"),
          ("FileDescription", "Démonstration"),
          ("LegalCopyright", LONG_COPYRIGHT),
          ("ProductName", "Tessel Démo")]
ENGLISH = [("CompanyName", "Example Corp"),
           ("FileVersion", "1.0"),
           ("FileDescription", "Sixty-four"),
           ("LegalCopyright", "(c) Example"),
           ("ProductName", "Tessel Sixty-Four")]


def files():
    app32 = version_info(
        [string_table("040904E4", [("CompanyName", "Wrong table")]),
         string_table("040C04E4", FRENCH)],
        translation=(0x040C, 0x04E4), fixed=fixed_info(2, 65535, 0, 9))
    app64 = version_info([string_table("040904E4", ENGLISH)],
                         fixed=fixed_info(1, 2, 3, 4))
    # Strings only in a table no translation leads to; no fixed information.
    no_fixed = version_info([string_table("040C04E4", FRENCH)])
    # Lengths that reach past their enclosing record are cut to it.
    loose = block("VS_VERSION_INFO", fixed_info(5, 6, 7, 8), length=0xFFF0,
                  children=[block("StringFileInfo", text=True, length=0xFFF0,
                                  children=[block("040904E4", text=True, children=[
                                      string("CompanyName", "Loose",
                                             value_length=0x7FFF)])])])
    # A child of length 0 ends the search, where it stands.
    zero = version_info([block("040904E4", text=True, children=[
        block("Dummy", length=0), string("CompanyName", "Hidden")])])
    # A key without its terminator before the end of its record.
    unterminated = version_info([block("040904E4", text=True, children=[
        struct.pack("<HHH", 12, 0, 1) + "Comp".encode("utf-16-le") + b"\0\0"
        + string("CompanyName", "After")])])

    out = {
        "app32.exe": pe_image(app32),
        "app64.dll": pe_image(app64, plus=True),
        "nofixed.exe": pe_image(no_fixed),
        "loose.exe": pe_image(loose),
        "zero.exe": pe_image(zero),
        "unterminated.exe": pe_image(unterminated),
        # The type's subdirectory lies far outside the file.
        "badtree.exe": pe_image(app64, type_target=0xFFFFFFF0),
        # A type entry that names data instead of a subdirectory.
        "flattree.exe": pe_image(app64, type_target=0x20),
        # The data entry claims more bytes than the section holds.
        "bigdata.exe": pe_image(app64, data_size=0x100000),
        "ne.exe": stub(b"NE"),
        "le.exe": stub(b"LE"),
        "lx.exe": stub(b"LX"),
        "w3.exe": stub(b"W3"),
        "mzmz.exe": stub(b"MZ"),
        "other.exe": stub(b"ZZ"),
        "dos.exe": stub(b"", size=512, relocations=0x1C),
        "short.exe": stub(b"", size=40),
        "far.exe": stub(b"", size=512, new_header=0x10000),
        "negative.exe": stub(b"", size=512, new_header=0x80000000),
        # The newer header is cut before its 248 bytes.
        "cutpe.exe": pe_image(app64)[:NT_AT + 100],
        "cutne.exe": stub(b"NE", size=NT_AT + 247),
        # Whole headers, no sections.
        "cut64.exe": pe_image(app64, plus=True)[:NT_AT + 264],
        "notes.txt": b"MODE is not a program\r\n" * 8,
    }
    return out


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("dir")
    parser.add_argument("--list", action="store_true")
    args = parser.parse_args()
    made = files()
    if args.list:
        print("\n".join(sorted(made)))
        return 0
    os.makedirs(args.dir, exist_ok=True)
    for name, data in made.items():
        with open(os.path.join(args.dir, name), "wb") as f:
            f.write(data)
    return 0


if __name__ == "__main__":
    sys.exit(main())

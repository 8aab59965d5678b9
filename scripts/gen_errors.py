#!/usr/bin/env python3
"""Generates the protected message block from frame/messages.def.

Each MESSAGE(number, class, "text") row becomes one record of the block:
  0  record length in bytes (16-bit)   2  message number (16-bit)
  4  flag byte: class in the low two bits, 0x40 for trace texts
  5  text length in characters (16-bit) 7  the text, UTF-16, scrambled
The block opens with a header record and closes with a zero length. The
scrambling is the one frame/messages.cpp undoes (Unscramble). Every
message number frame/errors.def names must have a row.
"""

import argparse
import os
import re
import struct
import sys

sys.path.insert(0, os.path.dirname(__file__))
from gen_catalogue import Fail, fail, macros, number, unquote, write  # noqa


def keystream(message, size):
    state = (0x5EED0000 ^ (message * 2654435761)) & 0xFFFFFFFF
    for _ in range(size):
        state = (state * 1103515245 + 12345) & 0xFFFFFFFF
        yield state >> 24


def record(message, flags, text):
    data = text.encode('utf-16-le')
    data = bytes(b ^ k for b, k in zip(data, keystream(message, len(data))))
    body = struct.pack('<HBH', message & 0xFFFF, flags, len(text)) + data
    return struct.pack('<H', len(body) + 2) + body


def generate(source, out):
    path = os.path.join(source, 'frame', 'messages.def')
    messages = {}
    for where, name, args, default in macros(path):
        if name != 'MESSAGE' or len(args) != 3 or default is not None:
            fail(where, 'MESSAGE(number, class, "text")')
        num, cls = number(args[0], where), number(args[1], where)
        if not 0 <= num <= 0xFFFF or not 0 <= cls <= 3:
            fail(where, 'message numbers are 16-bit, classes 0 to 3')
        if num in messages:
            fail(where, f'message {num} twice')
        text = unquote(args[2], where)
        if len(text) > 0x7FFF:
            fail(where, 'text too long')
        messages[num] = (cls | (0x40 if text.startswith('##(') else 0), text)
    for where, name, args, default in macros(
            os.path.join(source, 'frame', 'errors.def')):
        if name != 'ERRDEF' or len(args) != 5:
            fail(where, 'ERRDEF(number, message, subcode, severity, Name)')
        if number(args[1], where) not in messages:
            fail(where, f'message {args[1]} has no text in messages.def')
    block = bytearray(struct.pack('<HHBH', 7, len(messages), 0, 0))
    for num in sorted(messages):
        block += record(num, *messages[num])
    block += struct.pack('<H', 0)
    lines = ['// Generated from frame/messages.def. Do not edit.',
             '#include <cstddef>\n',
             'namespace frame {',
             'extern const unsigned char kMessageBlock[];',
             'extern const std::size_t kMessageBlockSize;',
             f'const std::size_t kMessageBlockSize = {len(block)};',
             'const unsigned char kMessageBlock[] = {']
    for i in range(0, len(block), 16):
        lines.append('  ' + ', '.join(f'0x{b:02X}' for b in block[i:i + 16])
                     + ',')
    lines += ['};', '}  // namespace frame', '']
    write(out, 'error_tables.cpp', '\n'.join(lines))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument('--source', required=True)
    parser.add_argument('--out', required=True)
    args = parser.parse_args()
    try:
        generate(args.source, args.out)
    except Fail as e:
        print(f'gen_errors: {e}', file=sys.stderr)
        return 1
    return 0


if __name__ == '__main__':
    sys.exit(main())

#!/usr/bin/env python3
"""Writes the files that packing is tested and measured on, the same bytes
on every machine (seeded generators, no outside files).

Usage: scripts/make_corpus.py DIR [--big MB] [--list]

DIR receives the test corpus (about 3 MB). --big MB adds big.bin, MB
megabytes of mixed text, binary and random data, for the benchmark.
--list prints the names, one a line, without writing anything.
"""
import argparse
import os
import random
import struct
import sys

WORDS = """the of and to a in is that it was for on are as with his they at be
this from have or by one had not but what all were when we there can an your
which their said if do will each about how up out them then she many some so
these would other into has more her two like him see time could no make than
first been its who now people my made over did down only way find use may
water long little very after words called just where most know get through
back much before go good new write our used me man too any day same right look
think also around another came come work three word must because does part
even place well such here take why things help put years different away again
off went old number great tell men say small every found still between name
should home big give air line set own under read last never us left end along
while might next sound below saw something thought both few those always
looked show large often together asked house world going want school important
until form food keep children feet land side without boy once animals life
enough took sometimes four head above kind began almost live page got earth
need far hand high year mother light parts country father let night following
picture being study second eyes soon times story boys since white days ever
paper hard near sentence better best across during today others however sure
means knew its try told young miles sun ways thing whole hear example heard
several change answer room sea against top turned learn point city play toward
five using himself usually packed file device program window record memory
restore archive header method dictionary position length table block""".split()


def english(rng, size):
    """Sentences of common words, a Zipf-like choice, in paragraphs."""
    weights = [1.0 / (i + 1) ** 0.9 for i in range(len(WORDS))]
    out = []
    total = 0
    while total < size:
        sentence = rng.choices(WORDS, weights, k=rng.randint(5, 22))
        text = " ".join(sentence)
        if rng.random() < 0.3:
            cut = rng.randint(1, len(sentence) - 1)
            text = " ".join(sentence[:cut]) + ", " + " ".join(sentence[cut:])
        text = text[0].upper() + text[1:] + rng.choice(".....?!")
        text += "\r\n\r\n" if rng.random() < 0.15 else " "
        out.append(text)
        total += len(text)
    return "".join(out).encode("ascii")[:size]


def binary(rng, size):
    """Records such as a program's data holds: counters, small codes,
    reals, pointers sharing their high bytes, short names, code-like runs."""
    out = bytearray()
    ident = 1000
    base = 0x7F3A00000000
    while len(out) < size:
        ident += rng.randint(1, 3)
        kind = rng.choice((1, 1, 1, 2, 2, 3, 7, 12))
        name = rng.choice(WORDS).encode()[:12].ljust(12, b"\0")
        out += struct.pack("<IHH", ident, kind, len(name))
        out += struct.pack("<d", round(rng.gauss(100, 40), 2))
        out += struct.pack("<Q", base + rng.randrange(0, 1 << 20, 8))
        out += name
        if rng.random() < 0.2:
            ops = [0x48, 0x89, 0x8B, 0xE8, 0xC3, 0x0F, 0x85, 0x84, 0x00, 0xFF]
            out += bytes(rng.choice(ops) if rng.random() < 0.7
                         else rng.randrange(256) for _ in range(rng.randint(8, 40)))
    return bytes(out[:size])


def files(rng):
    text = english(rng, 320 * 1024)
    block = rng.randbytes(8192)
    return {
        "empty.bin": b"",
        "one_byte.bin": b"A",
        "all_bytes.bin": bytes(range(256)),
        "repetitive.txt": b"The quick brown fox jumps over the lazy dog. " * 4000,
        "english.txt": text,
        "binary.bin": binary(rng, 256 * 1024),
        "random.bin": rng.randbytes(96 * 1024),
        # Zeros: whole blocks of one code, sent as a single symbol.
        "zeros.bin": bytes(3 * 1024 * 1024),
        # Matches at the farthest distance the dictionary allows.
        "period_8192.bin": block * 6,
        "text_65535.txt": text[:65535],
        "text_65536.txt": text[:65536],
        "text_65537.txt": text[:65537],
        # Literals only, about as many codes as a block can count.
        "literals_65535.bin": rng.randbytes(65535),
        "literals_65537.bin": rng.randbytes(65537),
    }


def write_big(path, megabytes, rng):
    """Mixed data in 4 MiB rounds: text, binary, random, text, zeros."""
    text = english(rng, 2 * 1024 * 1024)
    data = binary(rng, 1024 * 1024)
    left = megabytes * 1024 * 1024
    with open(path, "wb") as out:
        while left > 0:
            for part in (text[:1536 * 1024], data, rng.randbytes(512 * 1024),
                         text[1536 * 1024:], bytes(512 * 1024)):
                part = part[:left]
                out.write(part)
                left -= len(part)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("dir")
    parser.add_argument("--big", type=int, metavar="MB", default=0)
    parser.add_argument("--list", action="store_true")
    args = parser.parse_args()
    corpus = files(random.Random(8))
    if args.list:
        print("\n".join(corpus))
        return 0
    os.makedirs(args.dir, exist_ok=True)
    for name, data in corpus.items():
        with open(os.path.join(args.dir, name), "wb") as out:
            out.write(data)
    if args.big:
        write_big(os.path.join(args.dir, "big.bin"), args.big, random.Random(80))
    return 0


if __name__ == "__main__":
    sys.exit(main())

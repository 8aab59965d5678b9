#!/usr/bin/env python3
"""Generates the catalogue tables and the handlers from the readable rows.

Reads frame/catalogue.def (functions, syntaxes), frame/constants.def
(constants, typed entries, type names, members) and frame/implemented.def
(which implementation routines this build has), and writes into --out:

  catalogue_tables.cpp  the records InfoComposante hands out
  handlers.h            declarations of the generated handlers
  handlers.cpp          one handler per distinct call shape
  implementations.h     the routines the handlers call, in their namespaces
  pending.cpp           routines not built yet: they raise "not available"

Any doubt about the rows fails the build with the file and line.
"""

import argparse
import os
import re
import sys

HANDLER_RESULTS = {0x00, 0x01, 0x08, 0x09, 0x0A, 0x0C, 0x0E, 0x0F, 0x10,
                   0x1B, 0x1C, 0x1F, 0x79, 0x7E, 0x82, 0x8C}
TEXT_RESULTS = {0x10, 0x1B, 0x1C, 0x79, 0x7E, 0x82}
BY_REF = 0x4000


class Fail(Exception):
    pass


def fail(where, message):
    raise Fail(f"{where}: {message}")


def strip_comment(line):
    """Drops a // comment that is not inside a string literal."""
    quoted = False
    i = 0
    while i < len(line):
        c = line[i]
        if c == '\\' and quoted:
            i += 2
            continue
        if c == '"':
            quoted = not quoted
        elif not quoted and line.startswith('//', i):
            return line[:i]
        i += 1
    return line


def split_args(text, where):
    """Splits a macro argument list on top-level commas."""
    args, depth, quoted, cur, i = [], 0, False, '', 0
    while i < len(text):
        c = text[i]
        if quoted:
            cur += c
            if c == '\\':
                cur += text[i + 1]
                i += 1
            elif c == '"':
                quoted = False
        elif c == '"':
            quoted = True
            cur += c
        elif c == '(':
            depth += 1
            cur += c
        elif c == ')':
            depth -= 1
            cur += c
        elif c == ',' and depth == 0:
            args.append(cur.strip())
            cur = ''
        else:
            cur += c
        i += 1
    if quoted or depth:
        fail(where, 'unbalanced argument list')
    if cur.strip():
        args.append(cur.strip())
    return args


CALL = re.compile(r'\s*([A-Z_]+)\((.*)\)\s*$')


def macros(path):
    """Yields (where, name, args) for each row; a row may carry a trailing
    DEFAULT(...) call, returned as a separate ('DEFAULT', args) pair."""
    with open(path, encoding='utf-8') as f:
        for number, raw in enumerate(f, 1):
            where = f'{path}:{number}'
            line = strip_comment(raw).strip()
            if not line:
                continue
            default = None
            m = re.match(r'^(.*\))\s*DEFAULT\((.*)\)$', line)
            if m and not line.startswith('DEFAULT'):
                line, default = m.group(1), split_args(m.group(2), where)
            m = CALL.match(line)
            if not m:
                fail(where, f'cannot read row: {raw.strip()}')
            yield where, m.group(1), split_args(m.group(2), where), default


def number(text, where):
    try:
        return int(text, 0)
    except ValueError:
        fail(where, f'not a number: {text}')


IDENT = re.compile(r'^[A-Za-z_][A-Za-z0-9_]*$')


class Syntax:
    def __init__(self, where, impl, reserved, count_word, result, params,
                 defaults):
        self.where, self.impl, self.reserved = where, impl, reserved
        self.count_word, self.result, self.params = count_word, result, params
        self.defaults = defaults or []
        self.handler = None  # generated handler name


class Function:
    def __init__(self, where, num, flags, word6):
        self.where, self.number, self.flags, self.word6 = where, num, flags, word6
        self.forward = None
        self.syntaxes = []


def read_catalogue(path):
    functions = []
    for where, name, args, default in macros(path):
        if name == 'FUNCTION':
            if len(args) != 3:
                fail(where, 'FUNCTION(number, flags, word6)')
            functions.append(Function(where, *(number(a, where) for a in args)))
            continue
        if not functions:
            fail(where, f'{name} before any FUNCTION')
        fn = functions[-1]
        if name == 'FORWARD':
            if len(args) != 2 or fn.syntaxes:
                fail(where, 'FORWARD(component, index) right after FUNCTION')
            fn.forward = tuple(number(a, where) for a in args)
        elif name in ('SYNTAX', 'SYNTAX_N'):
            fixed = 3 if name == 'SYNTAX' else 4
            if len(args) < fixed:
                fail(where, f'{name} needs at least {fixed} arguments')
            impl = args[0]
            if not IDENT.match(impl):
                fail(where, f'bad implementation name {impl}')
            reserved = number(args[1], where)
            rest = [number(a, where) for a in args[2:]]
            count_word = None
            if name == 'SYNTAX_N':
                count_word, rest = rest[0], rest[1:]
            result, params = rest[0], rest[1:]
            if count_word is None:
                count_word = len(params)
            elif count_word & 0x7F != len(params):
                fail(where, 'count word does not match the parameters')
            fn.syntaxes.append(Syntax(where, impl, reserved, count_word,
                                      result, params, default))
        else:
            fail(where, f'unknown row {name}')
    for i, fn in enumerate(functions):
        if fn.number != i + 1:
            fail(fn.where, f'function {fn.number} out of order (expected {i + 1})')
        if not 1 <= len(fn.syntaxes) <= 255:
            fail(fn.where, 'a function has 1 to 255 syntaxes')
        for s in fn.syntaxes:
            if (s.impl == 'FORWARDED') != (fn.forward is not None):
                fail(s.where, 'FORWARDED syntaxes belong to FORWARD functions')
            if s.impl in ('NO_IMPL', 'FORWARDED'):
                if s.defaults:
                    fail(s.where, 'DEFAULT on a syntax without implementation')
            elif s.result & 0xFFFF00FF not in HANDLER_RESULTS or \
                    s.result & 0xFF not in HANDLER_RESULTS:
                fail(s.where, f'result 0x{s.result:X} cannot be handed to the VM')
    return functions


def read_constants(path):
    rows = {'CONSTANT': [], 'TEXT_CONSTANT': [], 'TYPED': [],
            'TYPE_NAME': [], 'MEMBER': []}
    arity = {'CONSTANT': 5, 'TEXT_CONSTANT': 4, 'TYPED': 4, 'TYPE_NAME': 1,
             'MEMBER': 6}
    for where, name, args, default in macros(path):
        if name not in rows or default is not None:
            fail(where, f'unknown row {name}')
        if len(args) != arity[name]:
            fail(where, f'{name} takes {arity[name]} arguments')
        rows[name].append((where, args))
    return rows


def read_implemented(path):
    done = {}
    for where, name, args, default in macros(path):
        if name != 'IMPLEMENTED' or len(args) != 2 or default is not None:
            fail(where, 'IMPLEMENTED(namespace, Routine)')
        if not all(IDENT.match(a) for a in args):
            fail(where, 'bad identifier')
        if args[1] in done:
            fail(where, f'{args[1]} listed twice')
        done[args[1]] = args[0]
    return done


# --- C++ types of the call boundary ---------------------------------------

def param_type(code):
    base, by_ref = code & 0xFF, bool(code & BY_REF)
    if by_ref:
        return {0x01: 'std::int32_t*', 0x08: 'std::int32_t*',
                0x09: 'std::int64_t*', 0x0C: 'double*'}.get(base, 'void*')
    return {0x01: 'bool', 0x08: 'std::int32_t', 0x09: 'std::int64_t',
            0x0A: 'frame::Decimal', 0x0C: 'double',
            0x7A: 'const char16_t*', 0x83: 'const char16_t*',
            0x1F: 'frame::AnyValue*',
            0x79: 'const char16_t*', 0x82: 'const char16_t*',
            0x7E: 'const char16_t*', 0x10: 'const char16_t*',
            0x1B: 'const char16_t*', 0x1C: 'const char16_t*',
            0x4D: 'const char16_t*'}.get(base, 'frame::Word')


def result_type(code):
    base = code & 0xFF
    return {0x00: 'void', 0x01: 'bool', 0x08: 'std::int32_t',
            0x8C: 'std::int32_t', 0x09: 'std::int64_t',
            0x0A: 'frame::Decimal', 0x0C: 'double', 0x0E: 'frame::Word',
            0x0F: 'frame::Word'}.get(base, 'void')


def out_param(code):
    base = code & 0xFF
    if base in TEXT_RESULTS:
        return 'char16_t** result'
    if base == 0x1F:
        return 'frame::AnyValue* result'
    return None


def neutral(code):
    base = code & 0xFF
    return {0x01: 'false', 0x08: '-1', 0x8C: '-1', 0x09: '-1',
            0x0A: 'frame::Decimal{}', 0x0C: '-1.0', 0x0E: '0',
            0x0F: '0'}.get(base)


def shape(code):
    """What makes two codes read the same way at the boundary."""
    return (code & 0xFF) | (code & BY_REF)


def signature_of(impl_syntaxes):
    """The full C++ signature of a routine: result and parameters."""
    full = [s for s in impl_syntaxes if not s.defaults]
    if not full:
        fail(impl_syntaxes[0].where,
             f'{impl_syntaxes[0].impl}: every syntax has DEFAULT')
    ref = full[0]
    for s in full[1:]:
        if shape(s.result) != shape(ref.result) or \
                [shape(p) for p in s.params] != [shape(p) for p in ref.params]:
            fail(s.where, f'{s.impl} is called with two signatures')
    for s in impl_syntaxes:
        if not s.defaults:
            continue
        if shape(s.result) != shape(ref.result):
            fail(s.where, f'{s.impl}: result differs from the full syntax')
        n = len(s.params)
        if [shape(p) for p in s.params] != [shape(p) for p in ref.params[:n]]:
            fail(s.where, f'{s.impl}: parameters are not a prefix')
        if n + len(s.defaults) != len(ref.params):
            fail(s.where, f'{s.impl}: {len(ref.params) - n} defaults needed')
    return ref


def declaration(name, ref, named=True):
    params = ['frame::Self* self']
    out = out_param(ref.result)
    if out:
        params.append(out if named else out.rsplit(' ', 1)[0])
    params += [param_type(p) + (f' p{i + 1}' if named else '')
               for i, p in enumerate(ref.params)]
    ret = 'void' if out else result_type(ref.result)
    return f'{ret} {name}({", ".join(params)})'


# --- emission ---------------------------------------------------------------

HEADER = ('// Generated from frame/catalogue.def, frame/constants.def and '
          'frame/implemented.def.\n// Do not edit.\n')


def cpp_string16(text):
    out = []
    for ch in text:
        o = ord(ch)
        if ch in '"\\':
            out.append('\\' + ch)
        elif 0x20 <= o < 0x7F:
            out.append(ch)
        elif o > 0xFFFF:
            out.append(f'\\U{o:08X}')
        else:
            out.append(f'\\u{o:04X}')
    return 'u"' + ''.join(out) + '"'


def unquote(text, where):
    """The value of a C string literal (u"..." or "...")."""
    m = re.match(r'^u?"(.*)"$', text)
    if not m:
        fail(where, f'expected a string: {text}')
    body, out, i = m.group(1), [], 0
    simple = {'n': '\n', 'r': '\r', 't': '\t', '"': '"', '\\': '\\',
              '0': '\0'}
    while i < len(body):
        c = body[i]
        if c != '\\':
            out.append(c)
            i += 1
            continue
        e = body[i + 1]
        if e in simple:
            out.append(simple[e])
            i += 2
        elif e in 'uxU':
            width = {'u': 4, 'x': 2, 'U': 8}[e]
            out.append(chr(int(body[i + 2:i + 2 + width], 16)))
            i += 2 + width
        else:
            fail(where, f'unknown escape \\{e}')
    return ''.join(out)


def generate(source, out):
    cat = os.path.join(source, 'frame', 'catalogue.def')
    functions = read_catalogue(cat)
    consts = read_constants(os.path.join(source, 'frame', 'constants.def'))
    implemented = read_implemented(
        os.path.join(source, 'frame', 'implemented.def'))

    by_impl = {}
    for fn in functions:
        for s in fn.syntaxes:
            if s.impl not in ('NO_IMPL', 'FORWARDED'):
                by_impl.setdefault(s.impl, []).append(s)
    refs = {name: signature_of(ss) for name, ss in by_impl.items()}
    for name in implemented:
        if name not in refs and not any(
                r[1][4] == name or r[1][5] == name for r in consts['MEMBER']):
            fail('frame/implemented.def', f'{name} is not in the catalogue')

    # Handlers: one per distinct call shape.
    handlers, order = {}, []
    for fn in functions:
        if fn.forward:
            name = f'Forward{fn.number:03d}'
            order.append((name, fn, None))
            for s in fn.syntaxes:
                s.handler = name
            continue
        for k, s in enumerate(fn.syntaxes, 1):
            if s.impl == 'NO_IMPL':
                continue
            key = (s.impl, shape(s.result), tuple(shape(p) for p in s.params),
                   tuple(s.defaults))
            if key not in handlers:
                handlers[key] = f'H{fn.number:03d}_{k}'
                order.append((handlers[key], fn, s))
            s.handler = handlers[key]

    def qualified(impl):
        ns = implemented.get(impl, 'pending')
        return f'{ns}::{impl}'

    # implementations.h
    lines = [HEADER, '#pragma once\n', '#include <cstdint>\n',
             '#include "frame/abi.h"\n']
    namespaces = {}
    for name, ref in sorted(refs.items()):
        namespaces.setdefault(implemented.get(name, 'pending'), []).append(
            declaration(name, ref) + ';')
    members = consts['MEMBER']
    accessors = set()
    for where, args in members:
        for acc in args[4:6]:
            if acc != 'NO_ACCESSOR':
                accessors.add(acc)
    for acc in sorted(accessors):
        namespaces.setdefault(implemented.get(acc, 'pending'), []).append(
            f'std::uint32_t {acc}(void* object, frame::AccessorRecord* record);')
    for ns in sorted(namespaces):
        lines.append(f'namespace {ns} {{')
        lines += namespaces[ns]
        lines.append(f'}}  // namespace {ns}\n')
    write(out, 'implementations.h', '\n'.join(lines))

    # handlers.h / handlers.cpp
    decl = [HEADER, '#pragma once\n', '#include "frame/abi.h"\n',
            'namespace frame::handlers {']
    body = [HEADER, '#include "frame/handlers.h"\n',
            '#include "frame/implementations.h"',
            '#include "frame/invoke.h"\n', 'namespace frame::handlers {']
    for name, fn, s in order:
        decl.append(f'std::uint32_t {name}(CallFrame*, Self*, void**) noexcept;')
        body.append(f'std::uint32_t {name}(CallFrame* f, Self* s, void** a) '
                    'noexcept {')
        if s is None:
            c, i = fn.forward
            body.append(f'  (void)a;\n  return Forward(f, s, {c}, {i});')
        else:
            ref = refs[s.impl]
            args = ['s']
            kind_out = out_param(ref.result)
            if kind_out:
                args.append('r')
            args += [f'Arg<0x{p:X}>(a, {i})' for i, p in enumerate(s.params)]
            args += s.defaults
            call = f'{qualified(s.impl)}({", ".join(args)})'
            lam = '[&](auto* r) { ' if kind_out else '[&]() { '
            ret = '' if kind_out or (ref.result & 0xFF) == 0 else 'return '
            body.append(f'  (void)a;\n  return Invoke<0x{ref.result & 0xFF:X}>'
                        f'(f, s, {lam}{ret}{call}; }});')
        body.append('}')
    decl.append('}  // namespace frame::handlers\n')
    body.append('}  // namespace frame::handlers\n')
    write(out, 'handlers.h', '\n'.join(decl))
    write(out, 'handlers.cpp', '\n'.join(body))

    # pending.cpp
    pend = [HEADER, '#include "frame/implementations.h"',
            '#include "frame/pending_support.h"\n', 'namespace pending {']
    for name, ref in sorted(refs.items()):
        if name in implemented:
            continue
        pend.append(declaration(name, ref, named=False) + ' {')
        pend.append('  NotAvailable(self);')
        if not out_param(ref.result) and ref.result & 0xFF:
            pend.append(f'  return {neutral(ref.result)};')
        pend.append('}')
    member_type = {a[4]: number(a[3], w) for w, a in members}
    member_type.update({a[5]: number(a[3], w) for w, a in members})
    for acc in sorted(accessors):
        if acc in implemented:
            continue
        pend.append(f'std::uint32_t {acc}(void*, frame::AccessorRecord* record) {{')
        pend.append(f'  return MemberNotAvailable(record, 0x{member_type[acc]:X});')
        pend.append('}')
    pend.append('}  // namespace pending\n')
    write(out, 'pending.cpp', '\n'.join(pend))

    # catalogue_tables.cpp
    t = [HEADER, '#include "frame/catalogue.h"', '#include "frame/handlers.h"',
         '#include "frame/implementations.h"\n', 'namespace frame {',
         'namespace {', 'using namespace handlers;',
         'template <class T> Word W(T* p) { return reinterpret_cast<Word>(p); }',
         '']
    syntax_total = 0
    for fn in functions:
        for k, s in enumerate(fn.syntaxes, 1):
            words = [f'0x{s.result:X}'] + [f'0x{p:X}' for p in s.params] + ['0']
            t.append(f'const Word kSig{fn.number:03d}_{k}[] = '
                     f'{{{", ".join(words)}}};')
        rows = []
        for k, s in enumerate(fn.syntaxes, 1):
            h = f'W(&{s.handler})' if s.handler else '0'
            rows.append(f'  {{{h}, 0, 0x{s.reserved:X}, 0, '
                        f'W(kSig{fn.number:03d}_{k}), {s.count_word}}},')
        syntax_total += len(fn.syntaxes)
        t.append(f'const Word kSyn{fn.number:03d}[][kSyntaxWords] = {{')
        t += rows
        t.append('};')
    t.append('}  // namespace\n')
    t.append(f'const Word kFunctionTable[kFunctionCount][kFunctionWords] = {{')
    for fn in functions:
        position = (len(fn.syntaxes) << 24) | (8 << 16) | (fn.number - 1)
        t.append(f'  {{{fn.number}, 0, 0, 0, 0x{fn.flags:08X}, 0x{fn.word6:X}, '
                 f'0x{position:08X}, W(kSyn{fn.number:03d})}},')
    t.append('};\n')

    # Constants.
    text_defs, const_rows = [], []
    rows = [(w, 'CONSTANT', a) for w, a in consts['CONSTANT']] + \
           [(w, 'TEXT_CONSTANT', a) for w, a in consts['TEXT_CONSTANT']]
    rows.sort(key=lambda r: number(r[2][0], r[0]))
    for where, kind, a in rows:
        num, ident, flags = (number(x, where) for x in a[:3])
        if kind == 'CONSTANT':
            value = number(a[3], where)
            if not -0x80000000 <= value <= 0xFFFFFFFF:
                fail(where, 'value beyond 32 bits')
            if value < 0:
                value &= 0xFFFFFFFF
            vword = f'static_cast<Word>(static_cast<std::int32_t>(0x{value:X}u))'
            type_word = number(a[4], where)
        else:
            text = unquote(a[3], where)
            text_defs.append(f'const char16_t kConstText{num}[] = '
                             f'{cpp_string16(text)};')
            vword = f'W(kConstText{num})'
            type_word = 0x7A08
        const_rows.append(f'  {{{num}, {ident}, 0, 0, 0x{flags:08X}, 0x81, '
                          f'{vword}, 0x{type_word:X}}},')
    t.append('namespace {')
    t += text_defs
    t.append('}  // namespace\n')
    t.append('const Word kConstantTable[kConstantCount][kConstantWords] = {')
    t += const_rows
    t.append('};\n')

    t.append('const Word kTypedTable[kTypedCount][kTypedWords] = {')
    for where, a in consts['TYPED']:
        num, flags, code, index = (number(x, where) for x in a)
        position = (code << 24) | (8 << 16) | index
        t.append(f'  {{{num}, 0, 0, 0, 0x{flags:08X}, 0, 0x{position:08X}, 0}},')
    t.append('};\n')

    names = []
    for i, (where, a) in enumerate(consts['TYPE_NAME']):
        raw = unquote(a[0], where).encode('cp1252')
        t.insert(t.index('}  // namespace\n'),
                 f'const char kTypeName{i}[] = {cpp_bytes(raw)};')
        names.append(f'W(kTypeName{i})')
    t.append('const TypeNameBlock kTypeNameBlock = {')
    t.append(f'  {{{", ".join(names)}}},')
    t.append('  {')
    for where, a in members:
        num, lead, ident, code = (number(x, where) for x in a[:4])
        read = f'W(&{qualified(a[4])})' if a[4] != 'NO_ACCESSOR' else '0'
        write_ = f'W(&{qualified(a[5])})' if a[5] != 'NO_ACCESSOR' else '0'
        t.append(f'    {{0x{lead:X}, {num}, 0x{ident:X}, 0, 0, 0xEB204690, 0x81, '
                 f'0x{code:X}, {read}, 0, {write_}, 0}},')
    t.append('  }};\n')
    t.append('}  // namespace frame\n')
    write(out, 'catalogue_tables.cpp', '\n'.join(t))

    counts = dict(functions=len(functions), syntaxes=syntax_total,
                  constants=len(const_rows), typed=len(consts['TYPED']),
                  names=len(names), members=len(members))
    expected = dict(functions=508, syntaxes=1102, constants=650, typed=53,
                    names=4, members=11)
    for key, value in expected.items():
        if counts[key] != value:
            fail(cat, f'{key}: {counts[key]} rows, {value} expected')


def cpp_bytes(raw):
    return '{' + ', '.join(f'static_cast<char>(0x{b:02X})' for b in raw) + \
        ', 0}'


def write(out, name, text):
    path = os.path.join(out, name)
    old = None
    if os.path.exists(path):
        with open(path, encoding='utf-8') as f:
            old = f.read()
    if old != text:
        with open(path, 'w', encoding='utf-8') as f:
            f.write(text)
    else:
        os.utime(path)  # newer than its inputs, so the rule is not rerun


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument('--source', required=True)
    parser.add_argument('--out', required=True)
    args = parser.parse_args()
    try:
        generate(args.source, args.out)
    except Fail as e:
        print(f'gen_catalogue: {e}', file=sys.stderr)
        return 1
    return 0


if __name__ == '__main__':
    sys.exit(main())

// host/tmhost/help.cpp: tmhost's --help texts.
#include "host/tmhost/help.h"

namespace tmhost {

const char kMainHelp[] =
    R"(Usage: tmhost [--lang CODE] [--lib PATH] COMMAND [ARG ...]

Loads the standard-functions component (component 8, STD) the way the VM
does and drives it: start-up, table reads, attach, language calls, detach,
end.

Commands:
  call       call a language function by number
  info       every InfoComposante answer and the table counts
  catalogue  the function records, syntaxes and signatures
  message    a message text of the component and its class
  ini        read or write one entry of an INI file
  compress   pack a file into the component's LZH (-lh5-) file
  expand     restore a packed file
  reg        import, export or dump registry keys as .reg files

Options:
  --lang CODE  the VM's current language code (1 and 6 are French;
               default 2)
  --lib PATH   the component library (default: libtm210std.so beside
               tmhost); the VM module libtmvm.so is taken beside it
  --help       this text; COMMAND --help describes a command

Exit status: 0 done and no error raised, 1 an error was raised, 2 bad
usage, 3 the call was forwarded to another component.
)";

const char kCallHelp[] =
    R"(Usage: tmhost [--lang CODE] [--lib PATH] call [--json] [--syntax K]
              FN [ARG ...]

Calls language function FN (1 to 508) with typed arguments:
  i:INT      32-bit integer (decimal, or 0x and hexadecimal digits)
  l:INT      64-bit integer
  b:0|1      boolean
  r:REAL     8-byte real (1.5, -2e10)
  d:DECIMAL  ten-byte decimal: [-]digits[.digits] (d:1234.56, d:-0.999)
  s:TEXT     text: UTF-8 here, UTF-16 to the component
  h:HEX      byte buffer: pairs of hexadecimal digits (h:0a0b0c)

Without --syntax the call takes the first syntax whose parameter count
fits and whose parameter base types (the low byte of each code) accept
the arguments:
  i: fits 0x08   l: fits 0x09   b: fits 0x01   r: fits 0x0C   d: fits 0x0A
  s: fits 0x7A, 0x7F and 0x83   h: fits 0x4D, 0x7E and 0x1C
  every kind fits 0x1F (a value of any type)
A syntax whose count word has bit 0x80 also takes further arguments, of
any kind. Only when no syntax fits that way, a second round also accepts
these pass-through codes:
  i: 0x0E 0x0F 0x12 0x13 0x1A 0x2C 0x2E 0x39 0x43 0x50 0x59 0x67 0x6F
     0x70 0x7B 0x7C (the integer handed through as one word)
  s: 0x10 0x79 0x82 (the text as a counted text object)
--syntax K (1-based) forces syntax K; its parameters must accept the
arguments (the pass-through codes included).

Output: the result on stdout: integers and reals as numbers, booleans as
true/false, decimals as digits, texts as UTF-8, byte buffers in lower-case
hexadecimal, nothing when the syntax returns nothing; a result of type
0x1F prints as the value it holds. A raised error goes to stderr as
"error N: message". A forwarded call prints "forwarded: component C,
index K".

--json prints exactly one object instead:
  {"function":FN,"syntax":K,"result":VALUE,"result_type":CODE,"error":null}
VALUE: a number for integers, reals and decimals, true/false, a string for
texts, {"hex":"..."} for byte buffers, null when the syntax returns
nothing. A raised error gives "error":{"number":N,"severity":S,
"message":"...","system_code":C,"system_text":"..."} (the message's texts
joined by "\n"). A forwarded call adds "forwarded":{"component":C,
"index":K}.

Exit status: 0 no error raised, 1 an error was raised, 2 bad usage
(unknown function, no syntax fits, a syntax without handler, a bad
argument, no library), 3 the call was forwarded.
)";

const char kInfoHelp[] = R"(Usage: tmhost [--lib PATH] info

Prints every InfoComposante answer (codes 0 to 44; 0 for the codes the
component does not know), what the addresses lead to, and the counts of
the tables: functions, syntaxes with and without a handler, distinct
handlers, constants, typed entries, type names and members.
)";

const char kCatalogueHelp[] =
    R"(Usage: tmhost [--lib PATH] catalogue [--json] [FN]

Prints the function records with their syntaxes and signatures, then the
constants, typed entries, type names and members; with FN, function FN
alone. Handlers are named h001, h002, ... in order of first appearance,
one name per handler; "-" (JSON null) where a syntax has none.

--json prints the whole catalogue as one object:
  {"functions":[{"number":N,"flags":F,"word6":W,"position":P,
     "syntaxes":[{"handler":NAME_OR_NULL,"reserved":[W2,W3,W4],
                  "signature":[RESULT,P1,...],"param_word":C}]}],
   "constants":[{"number":N,"id":I,"flags":F,"value":V,"type":T}],
   "typed_entries":[{"number":N,"flags":F,"position":P}],
   "type_names":["..."],
   "members":[{"number":N,"id":I,"type":T,"writable":B}]}
Every word is a JSON number (an integer constant's value signed), a text
constant's value a string, type names UTF-8. With FN, --json prints that
function's object alone.
)";

const char kMessageHelp[] = R"(Usage: tmhost [--lib PATH] message [--json] N

For an error number (80001 to 81855), prints the error's severity and the
text of its message. Any other N is a message number of the component's
message block: prints its text (CommandeComposante 3) and its class, the
low two bits of its flags (CommandeComposante 4).
--json prints {"number":N,"severity":S,"subcode":C,"message":M,"class":K,
"text":"..."} for an error, {"number":N,"class":K,"text":"..."} otherwise.
Exit status 1 when there is no such error or message.
)";

const char kIniHelp[] =
    R"(Usage: tmhost [--lib PATH] ini get FILE SECTION [KEY]
       tmhost [--lib PATH] ini set FILE SECTION KEY VALUE

FILE is a device path ("\Windows\win.ini"), taken under the directory
that TESSEL_ROOT names; "" means the default file \Windows\win.ini.

get prints the value of KEY as it stands, then a line break. Without KEY
(or with KEY "") it prints the keys of SECTION, one a line; with SECTION ""
and no KEY, the sections of the file, one a line. Reading ignores case and the blanks around lines.
get reads with the component's code linked into tmhost: --lib does not
change it.

set writes "KEY = VALUE" into SECTION through language function 218
(syntax 4) of the library: an empty VALUE removes the key, an empty KEY
clears the section (its header stays). Writing compares names with case.

Exit status: 0 found (get) or written (set), 1 not found: no such file,
section or key (get), 2 bad usage or no library, 3 the file cannot be
read or written; the reason goes to stderr.
)";

const char kRegHelp[] =
    R"(Usage: tmhost reg import FILE
       tmhost reg export [--regedit4] KEY FILE
       tmhost reg dump KEY

Moves registry keys between the registry store and the registry editor's
.reg files. The store is the database file that TESSEL_REGISTRY names;
without it, tessel/registry.db in $XDG_DATA_HOME or ~/.local/share. The
work is done by the component's code linked into tmhost: --lib does not
change it.

KEY is a root, HKEY_CLASSES_ROOT, HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE or
HKEY_USERS (or HKCR, HKCU, HKLM, HKU), then "\" and the subkey path. FILE
"-" is standard input or output.

import reads the whole FILE before it changes anything: a malformed line
refuses the import with "FILE:LINE: what is wrong" on stderr and nothing is
written. "[-KEY]" deletes a key and its subtree, "NAME"=- a value. Both
formats are read; a UTF-16 file starts with its byte order mark (UTF-8
is read after a UTF-8 one), a file without one is code page 1252. A store
failure part way stops the import; what was done before it stays.

export writes KEY, its values and its subkeys, depth first, as
"Windows Registry Editor Version 5.00" (UTF-16 LE with a byte order mark),
or with --regedit4 as "REGEDIT4" (8-bit, code page 1252). A REG_SZ that a
quoted string would not give back byte for byte is written as hex(1):.
What the format cannot carry at all (a name with a line break; in REGEDIT4
a character outside code page 1252) is written as "?" and named in a
warning on stderr.

dump prints KEY and its subtree: a key a line in brackets, its values
indented below it with their type and data.

On a terminal, a long import or export shows its progress on stderr.

Exit status: 0 done, 1 KEY does not exist (export, dump), 2 bad usage,
3 FILE cannot be read or written, or the store failed (the reason goes
to stderr), 4 the .reg file is malformed.
)";

const char kCompressHelp[] =
    R"(Usage: tmhost [--lib PATH] compress SRC DST

Packs file SRC into DST with nfCompacte of the library: a 284-byte header
(0x20, "-lh5-", the sizes, SRC's path), the lh5 stream and two 0 bytes.
When packing gains nothing, DST is a plain copy of SRC. DST takes SRC's
time stamps. SRC and DST are device paths ("\data\log.txt"), taken under
the directory that TESSEL_ROOT names.

On a terminal, work that lasts more than half a second shows its
percentage on stderr; an interrupt (Ctrl-C) cancels it.

Exit status: nfCompacte's status: 0 done, 1 SRC cannot be read, 2 DST
cannot be created, 4 packing failed, 5 not enough memory, 6 interrupted
(DST is deleted), 7 packing failed and DST's disk is full. 64 bad usage or
no library.
)";

const char kExpandHelp[] =
    R"(Usage: tmhost [--lib PATH] expand SRC DST

Restores the packed file SRC into DST with nfDecompacte of the library.
A file that is not packed (the plain copy that packing leaves when it
gains nothing) is copied as it stands. DST takes SRC's time stamps. SRC
and DST are device paths, taken under the directory that TESSEL_ROOT names.

On a terminal, work that lasts more than half a second shows its
percentage on stderr; an interrupt (Ctrl-C) cancels it.

Exit status: nfDecompacte's status: 0 done, 1 SRC cannot be read, 2 DST
cannot be created, 3 SRC is a corrupt packed file or uses another method,
4 writing failed, 5 not enough memory, 6 interrupted. DST is deleted
whenever the status is not 0. 64 bad usage or no library.
)";

}  // namespace tmhost

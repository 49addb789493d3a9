#!/usr/bin/env bash
# Lists the export table of a Windows DLL in the form "nm -D --defined-only -C" gives for a
# shared object ("address T name", demangled), so checks written for ELF read DLLs too.
# Usage: pe-exports-nm.sh [nm options...] DLL (the options are accepted and ignored).
set -euo pipefail
dll=${!#}
objdump=${CORVANE_OBJDUMP:-x86_64-w64-mingw32-objdump}
"$objdump" -p "$dll" |
    awk '/^\[Ordinal\/Name Pointer\] Table/ { table = 1; next }
         table && /^[ \t]*\[ *[0-9]+\]/ { print "0000000000000000 T " $NF; next }
         table { table = 0 }' |
    c++filt

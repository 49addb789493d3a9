#!/usr/bin/env bash
# Checks the dynamic symbols of libcorvane.so: every class and function of the exported interface
# defines at least one, and every symbol defined belongs to one of them (or to the C++ library's
# own templates). Usage: check_exports.sh NM LIBRARY
set -euo pipefail
nm=$1
library=$2

# The exported interface.
exported=(
    WMSOAPClient WMSOAPAutomationProxy WMSOAPStructMember WMSOAPStructType WMSOAPMessage
    WMXMLMessage WMSOAPSerializer WMSOAPDeserializer WMSOAPRespDeserializer
    WMSOAPReqDeserializer WMWSDLParser WMSOAPWSDLClient WMSOAPWSDLImporter WMXMLParser
    WMXMLElement WMXMLAttribute WMXMLAttributeMap WMHTTPRequestSock WMWinSocket2 DynSSL WMHexCode
    WMMD5 WideCharToUTF8 WideStringToUTF8 UTF8ToWideChar UTF8ToWideString
)
# Exported beside it because the classes above expose them: WMSOAPFault is thrown out of
# WMSOAPMessage::ProcessRPC to servers; WMXMLName and WMXMLMarkup are the bases whose members
# WMXMLElement and WMXMLAttribute inherit; WMHostEnt is the host record of WMWinSocket2;
# WMSOAPServerCall is the server-side extension of the message layer (corvane/server.h), and
# WMSOAPLiteralService the schema its document/literal mode is given;
# WMSOAPProxyFault is thrown out of WMSOAPAutomationProxy::InvokeSOAPMethod.
also=(WMSOAPFault WMXMLName WMXMLMarkup WMHostEnt WMSOAPServerCall WMSOAPLiteralService
    WMSOAPProxyFault)
allowed=("${exported[@]}" "${also[@]}" std __gnu_cxx)

# One owner per symbol: the class or function that the demangled name defines.
owners=$("$nm" -D --defined-only -C "$library" | cut -d' ' -f3- | perl -pe '
    s/^(vtable|typeinfo|typeinfo name|VTT|construction vtable|guard variable) for //;
    s/^(non-virtual|virtual|covariant return) thunk to //;
    s/^decltype\s*(\((?:[^()]++|(?1))*\))\s*//;
    1 while s/^(void|bool|char|int|unsigned|signed|long|short|double|float|const|auto)[ *&]+//;
    s/^([A-Za-z_][A-Za-z0-9_]*).*/$1/' | sort -u)

declare -A is_allowed
for name in "${allowed[@]}"; do
    is_allowed[$name]=1
done
declare -A is_owner
while read -r owner; do
    [[ -n $owner ]] && is_owner[$owner]=1
done <<<"$owners"

status=0
for name in "${exported[@]}"; do
    if [[ -z ${is_owner[$name]:-} ]]; then
        echo "not exported: $name"
        status=1
    fi
done
# Symbols that the linker defines in every shared object, and AddressSanitizer's indicators.
tooling='^(_init|_fini|_edata|_end|__bss_start|__odr_asan.*)$'
for owner in "${!is_owner[@]}"; do
    if [[ -z ${is_allowed[$owner]:-} && ! $owner =~ $tooling ]]; then
        echo "exported but internal: $owner"
        status=1
    fi
done
exit $status

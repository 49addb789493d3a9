#!/usr/bin/python3
"""zeep against a document/literal echo service (tests/peers/doclit/echo_*.wsdl): every value
comes back exactly, and echoString("raise-fault") gives the WSDL's typed fault.

Usage: doclit_zeep.py WSDL_URL [soap12]

The WSDL is read by zeep itself from the server; its address names the endpoint. Expected
values are in zeep's shapes: an empty element reads as None (also for an empty string), and a
type whose only child repeats (ItemList) reads as the list itself.
"""
import sys

import zeep
import zeep.exceptions

URL = sys.argv[1]
SOAP12 = len(sys.argv) > 2 and sys.argv[2] == "soap12"
TNS = "{urn:corvane:echo}"

ITEM = {"id": "a-1", "name": "crème <&> \U0001d11e", "count": -2147483648, "price": 0.1,
        "note": "n"}
ITEM_BARE = {"id": None, "name": "", "count": 2147483647, "price": -1e300, "note": None}
ITEM_BACK = dict(ITEM_BARE, name=None)
CASES = [
    ("echoString", {"text": "héllo <&> \U0001d11e \r\n end"}, "héllo <&> \U0001d11e \r\n end"),
    ("echoString", {"text": ""}, None),
    ("echoInt", {"value": -2147483648}, -2147483648),
    ("echoInt", {"value": 2147483647}, 2147483647),
    ("echoItem", {"item": ITEM}, ITEM),
    ("echoItem", {"item": ITEM_BARE}, ITEM_BACK),
    ("echoItems", {"items": {"item": [ITEM, ITEM_BARE, ITEM]}}, [ITEM, ITEM_BACK, ITEM]),
    ("echoItems", {"items": {"item": []}}, None),
    ("echoStrings", {"value": ["a", "b", "c"]}, ["a", "b", "c"]),
    ("echoStrings", {"value": ["only"]}, ["only"]),
    ("echoStrings", {"value": []}, []),
    ("echoNillable", {"value": "v"}, "v"),
    ("echoNillable", {"value": None}, None),
]


def plain(value):
    """zeep's objects as dicts and lists, for comparison."""
    if hasattr(value, "__values__"):
        return {k: plain(v) for k, v in value.__values__.items()}
    if isinstance(value, list):
        return [plain(v) for v in value]
    return value


def main():
    client = zeep.Client(URL)
    failures = 0
    for operation, arguments, expected in CASES:
        try:
            got = plain(getattr(client.service, operation)(**arguments))
        except Exception as error:  # noqa: BLE001 - every failure is reported the same way
            got = f"{type(error).__name__}: {error}"
        if got != expected:
            failures += 1
            print(f"FAIL {operation}({arguments!r}): {got!r} != {expected!r}")
    try:
        client.service.echoString(text="raise-fault")
        failures += 1
        print("FAIL echoString(raise-fault): no fault")
    except zeep.exceptions.Fault as fault:
        detail = fault.detail.find(TNS + "echoFault") if fault.detail is not None else None
        got = (fault.code, fault.message,
               None if detail is None else (detail.findtext(TNS + "code"),
                                            detail.findtext(TNS + "message")))
        wanted_code = ("{http://www.w3.org/2003/05/soap-envelope}Receiver" if SOAP12
                       else "SOAP-ENV:Server")
        if got[1:] != ("Fault raised on request", ("42", "raise-fault")) or \
                not str(got[0]).endswith(wanted_code.split("}")[-1].split(":")[-1]):
            failures += 1
            print(f"FAIL echoString(raise-fault): {got!r}")
    print(f"{len(CASES) + 1 - failures} passed, {failures} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

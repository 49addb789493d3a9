#!/usr/bin/python3
"""zeep against the interop server in standard wire mode: every row of standard_values.json.

Usage: standard_zeep.py BASE_URL WSDL_DIR

zeep writes no xsi:type and fills SOAP encoding arrays only with ready-made elements, so arrays
go out as <item> elements holding each value's XML text. Two of zeep's own readings differ from
the other clients': it sends and returns hexBinary as text (compared as the bytes it spells),
and it has no two-dimensional arrays (the rows go out one after the other and come back flat).
"""
import base64
import datetime
import decimal
import json
import math
import os
import sys

import zeep
import zeep.exceptions
from lxml import etree
from zeep_local import LocalTransport

BASE, WSDL_DIR = sys.argv[1], sys.argv[2]
HERE = os.path.dirname(os.path.abspath(__file__))
ALL_BYTES = bytes(range(256))


def leaf(tagged):
    """The Python value of a TYPE:TEXT leaf, as zeep takes and gives it."""
    kind, text = tagged.split(":", 1)
    if kind == "F":
        return tagged
    if kind in ("x", "h"):
        data = ALL_BYTES if text == "all" else bytes.fromhex(text)
        return data if kind == "x" else data.hex().upper()
    return {"s": str, "i": int, "f": float, "d": decimal.Decimal,
            "b": lambda t: t == "true", "t": datetime.datetime.fromisoformat}[kind](text)


def xml_text(tagged):
    """A leaf's XML Schema text, for array items built by hand."""
    value = leaf(tagged)
    if isinstance(value, float) and not math.isfinite(value):
        return "NaN" if math.isnan(value) else ("INF" if value > 0 else "-INF")
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, bytes):
        return base64.b64encode(value).decode()
    return value.isoformat() if isinstance(value, datetime.datetime) else str(value)


def argument(ztype, value):
    """The value for a part or member of zeep type `ztype`; arrays wrapped in their type."""
    if isinstance(value, dict):
        types = dict(ztype.elements)
        return ztype(**{name: argument(types[name].type, member) for name, member in value.items()})
    if isinstance(value, list):
        return ztype([named_element("item", item) for item in value])
    return leaf(value)


def named_element(name, value):
    """An element holding a value as its XML text; structs as members, arrays as <item>s."""
    e = etree.Element(name)
    if isinstance(value, dict):
        e.extend(named_element(n, m) for n, m in value.items())
    elif isinstance(value, list):
        e.extend(named_element("item", item) for item in value)
    else:
        e.text = xml_text(value)
    return e


def flatten(value):
    if isinstance(value, list) and value and isinstance(value[0], list):
        return [item for row in value for item in row]
    return value


def plain(value):
    """zeep's answer as dicts and lists; elements it could not type as their texts."""
    value = zeep.helpers.serialize_object(value, dict)
    if isinstance(value, etree._Element):
        return {child.tag: plain(child.text) for child in value} if len(value) else value.text
    if isinstance(value, dict):
        return {name: plain(member) for name, member in value.items()}
    if isinstance(value, list):
        return [plain(item) for item in value]
    return value


def same(expected, actual):
    """Whether the answer is the value sent, exactly (floats by their bits, NaN equals NaN)."""
    if isinstance(expected, dict):
        return isinstance(actual, dict) and list(actual) == list(expected) and all(
            same(expected[name], actual[name]) for name in expected)
    if isinstance(expected, list):
        return isinstance(actual, list) and len(actual) == len(expected) and all(
            same(e, a) for e, a in zip(expected, actual))
    if expected is None:
        return actual is None
    value = leaf(expected)
    if type(actual) is not type(value):
        return False
    if isinstance(value, float):
        return (math.isnan(value) and math.isnan(actual)) or (
            value == actual and math.copysign(1, value) == math.copysign(1, actual))
    if isinstance(value, datetime.datetime):
        return value == actual and value.utcoffset() == actual.utcoffset()
    if isinstance(value, decimal.Decimal):
        return str(value) == str(actual)
    if expected.startswith("h:"):
        return bytes.fromhex(actual) == bytes.fromhex(value)
    return value == actual


def services():
    found = {}
    for suite, wsdl, binding, path in (
            ("base", "round2_base.wsdl", "InteropTestBinding", "round2_base.inc"),
            ("groupB", "round2_groupB.wsdl", "InteropTestSoapBindingB", "round2_groupB.inc")):
        client = zeep.Client(os.path.join(WSDL_DIR, wsdl), transport=LocalTransport())
        found[suite] = (client, client.create_service("{http://soapinterop.org/}" + binding,
                                                      BASE + path))
    return found


def main():
    with open(os.path.join(HERE, "standard_values.json"), encoding="utf-8") as f:
        rows = json.load(f)["rows"]
    service = services()
    passed = failed = 0
    for number, row in enumerate(rows, 1):
        suite, operation, arguments = row[:3]
        options = row[3] if len(row) > 3 else {}
        arguments = {name: flatten(value) for name, value in arguments.items()}
        expected = options.get("answer", next(iter(arguments.values()), None))
        expected = flatten(options.get("zeep", expected))
        client, proxy = service[suite]
        parts = dict(client.service._binding._operations[operation].input.body.type.elements)
        try:
            answer = plain(getattr(proxy, operation)(
                *[argument(parts[name].type, value) for name, value in arguments.items()]))
        except zeep.exceptions.Fault as fault:
            answer = "F:" + fault.message
        except Exception as error:  # an answer zeep cannot read
            answer = f"{type(error).__name__}: {error}"
        if same(expected, answer):
            passed += 1
        else:
            failed += 1
            print(f"FAIL row {number} {operation}: sent {arguments!r}, got {answer!r}")
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 else 1


if __name__ == "__main__":
    sys.exit(main())

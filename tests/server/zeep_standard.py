#!/usr/bin/python3
"""zeep against the interop server in the standard wire mode: every value of both round 2
suites must come back as it was sent, in zeep's own types.

Usage: zeep_standard.py BASE_URL WSDL_DIR
"""
import datetime
import decimal
import math
import os
import sys

import zeep
from lxml import etree
from zeep.transports import Transport

BASE, WSDL_DIR = sys.argv[1], sys.argv[2]
SCHEMAS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "schemas")
LOCAL = {
    "http://schemas.xmlsoap.org/soap/encoding/": os.path.join(SCHEMAS, "soap-encoding.xsd"),
    "http://schemas.xmlsoap.org/wsdl/": os.path.join(SCHEMAS, "wsdl.xsd"),
}


class LocalTransport(Transport):
    """Serves the standard schemas from files."""

    def load(self, url):
        if url in LOCAL:
            with open(LOCAL[url], "rb") as f:
                return f.read()
        return super().load(url)


failed = 0
count = 0


def same(a, b):
    if isinstance(a, float) and isinstance(b, float):
        return (math.isnan(a) and math.isnan(b)) or (a == b and math.copysign(1, a) == math.copysign(1, b))
    return a == b and type(a) is type(b)


def check(what, expected, actual):
    global failed, count
    count += 1
    if not same(expected, actual):
        failed += 1
        print(f"FAIL {what}: expected {expected!r}, got {actual!r}")


def items(values):
    """zeep fills SOAP encoding arrays only with ready-made elements."""
    out = []
    for v in values:
        e = etree.Element("item")
        e.text = v
        out.append(e)
    return out


def plain(value):
    return zeep.helpers.serialize_object(value, dict)


client = zeep.Client(os.path.join(WSDL_DIR, "round2_base.wsdl"), transport=LocalTransport())
s = client.create_service("{http://soapinterop.org/}InteropTestBinding", BASE + "round2_base.inc")
text = "Grüße aus Tōkyō — 東京 € 😀 <&>\r\n"
zone = datetime.timezone(datetime.timedelta(hours=5, minutes=30))
for op, value in [
    ("echoString", text),
    ("echoInteger", -2147483648),
    ("echoFloat", 0.1), ("echoFloat", -0.0), ("echoFloat", float("inf")), ("echoFloat", float("nan")),
    ("echoDecimal", decimal.Decimal("0.1")),
    ("echoDecimal", decimal.Decimal("-12345678901234567890.123456789")),
    ("echoBoolean", True), ("echoBoolean", False),
    ("echoBase64", bytes(range(256))),
    ("echoHexBinary", bytes(range(256)).hex().upper()),
    ("echoDate", datetime.datetime(2024, 2, 29, 23, 59, 58, 500000, tzinfo=zone)),
]:
    check(f"{op} {value!r}", value, getattr(s, op)(value))
check("echoStringArray", ["a", text], list(s.echoStringArray(
    client.get_type("{http://soapinterop.org/xsd}ArrayOfstring")(items(["a", text])))))
check("echoIntegerArray", [1, -2], list(s.echoIntegerArray(
    client.get_type("{http://soapinterop.org/xsd}ArrayOfint")(items(["1", "-2"])))))
check("echoFloatArray", [0.1, -2.5], list(s.echoFloatArray(
    client.get_type("{http://soapinterop.org/xsd}ArrayOffloat")(items(["0.1", "-2.5"])))))
Struct = client.get_type("{http://soapinterop.org/xsd}SOAPStruct")
struct = {"varString": text, "varInt": 5, "varFloat": 0.25}
check("echoStruct", struct, dict(plain(s.echoStruct(Struct(**struct)))))
check("echoVoid", None, s.echoVoid())

groupb = zeep.Client(os.path.join(WSDL_DIR, "round2_groupB.wsdl"), transport=LocalTransport())
b = groupb.create_service("{http://soapinterop.org/}InteropTestSoapBindingB",
                          BASE + "round2_groupB.inc")
StructB = groupb.get_type("{http://soapinterop.org/xsd}SOAPStruct")
check("echoStructAsSimpleTypes", {"outputString": text, "outputInteger": 5, "outputFloat": 0.25},
      dict(plain(b.echoStructAsSimpleTypes(StructB(**struct)))))
check("echoSimpleTypesAsStruct", struct, dict(plain(b.echoSimpleTypesAsStruct(text, 5, 0.25))))

print(f"{count} checks, {failed} failed")
sys.exit(1 if failed else 0)

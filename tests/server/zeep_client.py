#!/usr/bin/python3
"""zeep against the interop server: every operation of both round 2 suites, then faults.

Usage: zeep_client.py BASE_URL WSDL_DIR

zeep writes rpc/encoded requests without xsi:type and without encodingStyle, and fills SOAP
encoding arrays only with ready-made elements, so arrays are sent as <item> elements. The
expected values are what the server really answers; docs/interop.md explains each one that
differs from the value sent.
"""
import decimal
import os
import sys
import datetime

import zeep
import zeep.exceptions
from lxml import etree
from zeep_local import LocalTransport

BASE, WSDL_DIR = sys.argv[1], sys.argv[2]

passed = 0
failed = 0


def check(what, expected, actual):
    global passed, failed
    if expected == actual and type(expected) is type(actual):
        passed += 1
    else:
        failed += 1
        print(f"FAIL {what}: expected {expected!r}, got {actual!r}")


def element(name, text=None, children=()):
    e = etree.Element(name)
    e.text = text
    e.extend(children)
    return e


def struct_item(s, i, f):
    return element("item", children=[element("varString", s), element("varInt", str(i)),
                                      element("varFloat", str(f))])


def plain(value):
    """zeep's answer objects as plain dicts and lists, for comparison."""
    return zeep.helpers.serialize_object(value, dict)


def service(wsdl, binding, path):
    client = zeep.Client(os.path.join(WSDL_DIR, wsdl), transport=LocalTransport())
    return client, client.create_service(binding, BASE + path)


base_client, s = service("round2_base.wsdl", "{http://soapinterop.org/}InteropTestBinding",
                         "round2_base.inc")
Strings = base_client.get_type("{http://soapinterop.org/xsd}ArrayOfstring")
Ints = base_client.get_type("{http://soapinterop.org/xsd}ArrayOfint")
Floats = base_client.get_type("{http://soapinterop.org/xsd}ArrayOffloat")
Structs = base_client.get_type("{http://soapinterop.org/xsd}ArrayOfSOAPStruct")
Struct = base_client.get_type("{http://soapinterop.org/xsd}SOAPStruct")

check("echoString", "Hello, Corvane", s.echoString("Hello, Corvane"))
check("echoString non-ASCII", "h\u00e9llo \u20ac \U0001F600", s.echoString("h\u00e9llo \u20ac \U0001F600"))
check("echoString markup", "<&>\"'", s.echoString("<&>\"'"))
check("echoStringArray", ["a", "b", "c"],
      list(s.echoStringArray(Strings([element("item", t) for t in "abc"]))))
check("echoInteger", "42", s.echoInteger(42))
check("echoIntegerArray", ["1", "-2"],
      list(s.echoIntegerArray(Ints([element("item", "1"), element("item", "-2")]))))
check("echoFloat", "1.500000", s.echoFloat(1.5))
check("echoFloat small", "0.000000", s.echoFloat(1e-9))
check("echoFloatArray", ["1.500000", "-3.250000"],
      list(s.echoFloatArray(Floats([element("item", "1.5"), element("item", "-3.25")]))))
check("echoStruct", {"varString": "x", "varInt": "5", "varFloat": "0.250000"},
      plain(s.echoStruct(Struct(varString="x", varInt=5, varFloat=0.25))))
check("echoStructArray",
      [{"varString": "a", "varInt": "1", "varFloat": "1.000000"},
       {"varString": "b", "varInt": "2", "varFloat": "2.500000"}],
      # The items carry no xsi:type, so zeep hands them back as elements.
      [{child.tag: child.text for child in item} for item in
       s.echoStructArray(Structs([struct_item("a", 1, 1.0), struct_item("b", 2, 2.5)]))])
check("echoVoid", None, s.echoVoid())
check("echoBase64", None, s.echoBase64(b"Hello"))
check("echoDate", None, s.echoDate(datetime.datetime(2002, 1, 1, 12, 0, 0)))
check("echoHexBinary", "AB01", s.echoHexBinary("AB01"))
check("echoDecimal", "123.449997", s.echoDecimal(decimal.Decimal("123.45")))
# zeep writes every boolean as true or false, which the server reads as 0.
check("echoBoolean true", "0", s.echoBoolean(True))

groupb_client, b = service("round2_groupB.wsdl",
                           "{http://soapinterop.org/}InteropTestSoapBindingB",
                           "round2_groupB.inc")
StructB = groupb_client.get_type("{http://soapinterop.org/xsd}SOAPStruct")
result = b.echoStructAsSimpleTypes(StructB(varString="x", varInt=5, varFloat=0.25))
check("echoStructAsSimpleTypes", {"outputString": "x", "outputInteger": "5",
                                  "outputFloat": "0.250000"}, dict(plain(result)))
check("echoSimpleTypesAsStruct", {"varString": "y", "varInt": "7", "varFloat": "1.250000"},
      dict(plain(b.echoSimpleTypesAsStruct("y", 7, 1.25))))
Nested = groupb_client.get_type("{http://soapinterop.org/xsd}SOAPStructStruct")
check("echoNestedStruct",
      {"varString": "outer", "varInt": "1", "varFloat": "1.500000",
       "varStruct": {"varString": "inner", "varInt": "2", "varFloat": "2.500000"}},
      plain(b.echoNestedStruct(Nested(varString="outer", varInt=1, varFloat=1.5,
                                      varStruct=StructB(varString="inner", varInt=2,
                                                        varFloat=2.5)))))
WithArray = groupb_client.get_type("{http://soapinterop.org/xsd}SOAPArrayStruct")
StringsB = groupb_client.get_type("{http://soapinterop.org/xsd}ArrayOfstring")
answer = plain(b.echoNestedArray(WithArray(
    varString="outer", varInt=1, varFloat=1.5,
    varArray=StringsB([element("item", "p"), element("item", "q")]))))
check("echoNestedArray", ["p", "q"], list(answer.pop("varArray")))
check("echoNestedArray members", {"varString": "outer", "varInt": "1", "varFloat": "1.500000"},
      dict(answer))
Strings2D = groupb_client.get_type("{http://soapinterop.org/xsd}ArrayOfString2D")
check("echo2DStringArray", ["a", "b", "c", "d"],
      list(b.echo2DStringArray(Strings2D([element("item", t) for t in "abcd"]))))

# Faults, read by zeep from raw requests: zeep parses the answer of each.
binding = base_client.service._binding
envelope = ('<?xml version="1.0" encoding="UTF-8"?>'
            '<e:Envelope xmlns:e="http://schemas.xmlsoap.org/soap/envelope/"><e:Body>'
            '<m:echoString xmlns:m="http://soapinterop.org/"><inputString>x</inputString>'
            '</m:echoString></e:Body></e:Envelope>')


def fault(what, body, action, code, text):
    response = base_client.transport.post(BASE + "round2_base.inc", body.encode(),
                                          {"SOAPAction": action,
                                           "Content-Type": "text/xml; charset=utf-8"})
    check(what + " HTTP status", 500, response.status_code)
    try:
        binding.process_reply(base_client, binding.get("echoString"), response)
        check(what + " raises a fault", True, False)
    except zeep.exceptions.Fault as f:
        check(what + " faultcode", code, f.code)
        check(what + " faultstring", text, f.message)


fault("good request, unquoted SOAPAction", envelope, "http://", "SOAP-ENV:Client",
      "Unrecognized 'SOAPAction' HTTP header received.")
fault("no SOAPAction", envelope, "", "SOAP-ENV:Client",
      "Unrecognized 'SOAPAction' HTTP header received.")
fault("undescribed operation", envelope.replace("echoString", "echoNothing"), '"http://"',
      "SOAP-ENV:Client", "Unrecognized method call received.")
fault("truncated envelope", envelope[:-30], '"http://"', "SOAP-ENV:Server",
      "XML Parser: Parse Error on Line 1.")
fault("not XML", "hello", '"http://"', "SOAP-ENV:Server", "XML Parser: Parse Error on Line 1.")
fault("empty body", "", '"http://"', "SOAP-ENV:Server", "XML Parser: Parse Error on Line 1.")
fault("100,000 nested elements",
      envelope.replace(">x<", ">" + "<a>" * 100000 + "</a>" * 100000 + "<"), '"http://"',
      "SOAP-ENV:Server", "XML Parser: Parse Error on Line 1.")
fault("body above the server's 8 MiB", envelope.replace(">x<", ">" + "x" * (9 << 20) + "<"),
      '"http://"', "SOAP-ENV:Client", "Request too large.")

print(f"{passed} passed, {failed} failed")
sys.exit(0 if failed == 0 else 1)

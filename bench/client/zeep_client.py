#!/usr/bin/python3
"""zeep on the benchmark's calls. Usage: zeep_client.py WSDL_FILE ENDPOINT CASE CALLS [new]

zeep fills SOAP encoding arrays only from ready-made elements, so the structs are sent as
<item> elements; the standard schemas that the WSDL imports come from tests/server/schemas.
zeep's transport keeps its connection open in a requests session; "new" asks for a new
connection per call. Prints the seconds per call, elapsed and on the CPU.
"""
import os
import sys
import time

import zeep
from lxml import etree
from zeep.transports import Transport

wsdl, endpoint, case, calls = sys.argv[1], sys.argv[2], sys.argv[3], int(sys.argv[4])
new_connections = sys.argv[5:] == ["new"]
SCHEMAS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tests", "server",
                       "schemas")
LOCAL = {
    "http://schemas.xmlsoap.org/soap/encoding/": os.path.join(SCHEMAS, "soap-encoding.xsd"),
    "http://schemas.xmlsoap.org/wsdl/": os.path.join(SCHEMAS, "wsdl.xsd"),
}


class LocalTransport(Transport):
    def load(self, url):
        if url in LOCAL:
            with open(LOCAL[url], "rb") as f:
                return f.read()
        return super().load(url)


def element(name, text=None, children=()):
    e = etree.Element(name)
    e.text = text
    e.extend(children)
    return e


transport = LocalTransport()
if new_connections:
    transport.session.headers["Connection"] = "close"
client = zeep.Client(wsdl, transport=transport)
service = client.create_service("{http://soapinterop.org/}InteropTestBinding", endpoint)
if case == "string":
    def call():
        return service.echoString("Hello, bench") == "Hello, bench"
else:
    count = int(case.split("-")[1])
    Structs = client.get_type("{http://soapinterop.org/xsd}ArrayOfSOAPStruct")
    items = [element("item", children=[element("varString", "item text"),
                                       element("varInt", str(i)),
                                       element("varFloat", str(i + 0.5))])
             for i in range(count)]

    def call():
        return len(service.echoStructArray(Structs(items))) == count

if not call():
    sys.exit("zeep: wrong answer")
cpu = time.process_time()
start = time.perf_counter()
for _ in range(calls):
    if not call():
        sys.exit("zeep: wrong answer")
print("%.9f %.9f" % ((time.perf_counter() - start) / calls, (time.process_time() - cpu) / calls))

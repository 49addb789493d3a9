#!/usr/bin/env python3
"""Every literal operation's request from `corvane envelope --doclit --sample`, validated with
`xmllint --schema` against the description's own schemas.

usage: doclit_xsd_test.py CORVANE WSDL...

The schemas of `types` are written out as files, each with the namespace declarations it
inherits from the WSDL, imports between them pointed at those files. Document-style body
elements are validated against them; an rpc/literal operation element gets a schema of its own
(the operation's name in the body namespace, one unqualified accessor per part) that imports them.
"""
import json
import os
import subprocess
import sys
import tempfile
from xml.dom import minidom

XS = "http://www.w3.org/2001/XMLSchema"
SOAP_ENVELOPES = ("http://schemas.xmlsoap.org/soap/envelope/",
                  "http://www.w3.org/2003/05/soap-envelope")


def declarations(node):
    """The namespace declarations in scope at `node`, innermost first wins."""
    found = {}
    while node is not None and node.nodeType == node.ELEMENT_NODE:
        for name, value in node.attributes.items():
            if (name == "xmlns" or name.startswith("xmlns:")) and name not in found:
                found[name] = value
        node = node.parentNode
    return found


def standalone(element):
    """The element's markup with every declaration it inherits written on it."""
    copy = element.cloneNode(True)
    for name, value in declarations(element).items():
        if not copy.hasAttribute(name):
            copy.setAttribute(name, value)
    return copy.toxml()


def write_schemas(wsdl_path, directory):
    """Writes the WSDL's schemas; returns {namespace: file}."""
    document = minidom.parse(wsdl_path)
    schemas = document.getElementsByTagNameNS(XS, "schema")
    files = {}
    for index, schema in enumerate(schemas):
        files.setdefault(schema.getAttribute("targetNamespace"),
                         os.path.join(directory, "schema%d.xsd" % index))
    base = os.path.dirname(os.path.abspath(wsdl_path))
    for index, schema in enumerate(schemas):
        for tag in ("import", "include"):
            for reference in schema.getElementsByTagNameNS(XS, tag):
                location = reference.getAttribute("schemaLocation")
                if location and "://" not in location:
                    reference.setAttribute("schemaLocation", os.path.join(base, location))
                elif not location and reference.getAttribute("namespace") in files:
                    reference.setAttribute("schemaLocation",
                                           files[reference.getAttribute("namespace")])
        with open(os.path.join(directory, "schema%d.xsd" % index), "w") as out:
            out.write(standalone(schema))
    return files


def imports(files):
    return "".join('<xs:import namespace="%s" schemaLocation="%s"/>' % (ns, path)
                   for ns, path in files.items() if ns)


def qname(prefixes, ns, local):
    if ns == "":
        return local
    if ns not in prefixes:
        prefixes[ns] = "p%d" % len(prefixes)
    return "%s:%s" % (prefixes[ns], local)


def rpc_schema(operation, files, path):
    """A schema for the rpc/literal operation element of `operation`'s request."""
    message = operation["input"]
    prefixes = {}
    accessors = []
    for part in message["parts"]:
        if "element" in part:
            element = part["element"]
            accessors.append('<xs:element ref="%s"/>' %
                             qname(prefixes, element["namespace"], element["name"]))
        else:
            type_ = part["type"]["type"]
            accessors.append('<xs:element name="%s" type="%s"/>' %
                             (part["name"], qname(prefixes, type_["namespace"], type_["name"])))
    target = message.get("namespace", "")
    declared = "".join(' xmlns:%s="%s"' % (prefix, ns) for ns, prefix in prefixes.items())
    with open(path, "w") as out:
        out.write('<xs:schema xmlns:xs="%s"%s%s>%s<xs:element name="%s"><xs:complexType>'
                  '<xs:sequence>%s</xs:sequence></xs:complexType></xs:element></xs:schema>' %
                  (XS, declared, ' targetNamespace="%s"' % target if target else "",
                   "".join('<xs:include schemaLocation="%s"/>' % f
                           for ns, f in files.items() if ns == target) +
                   imports({ns: f for ns, f in files.items() if ns != target}),
                   operation["name"], "".join(accessors)))


def main():
    corvane, wsdls = sys.argv[1], sys.argv[2:]
    failures = 0
    checked = 0
    for wsdl in wsdls:
        described = json.loads(subprocess.run(
            [corvane, "inspect", "--schema", "--json", wsdl],
            check=True, capture_output=True, text=True).stdout)
        with tempfile.TemporaryDirectory() as directory:
            files = write_schemas(wsdl, directory)
            main_schema = os.path.join(directory, "main.xsd")
            with open(main_schema, "w") as out:
                out.write('<xs:schema xmlns:xs="%s">%s</xs:schema>' % (XS, imports(files)))
            for port in described["ports"]:
                for operation in port["operations"]:
                    if operation["input"].get("use") != "literal":
                        continue
                    name = operation["name"]
                    run = subprocess.run(
                        [corvane, "envelope", "--doclit", "--sample", "--service",
                         port["service"], "--port", port["name"], wsdl, name],
                        capture_output=True, text=True)
                    if run.returncode != 0:
                        print("FAIL %s %s: %s" % (wsdl, name, run.stderr.strip()))
                        failures += 1
                        continue
                    envelope = minidom.parseString(run.stdout.encode("utf-8"))
                    root = envelope.documentElement
                    assert root.namespaceURI in SOAP_ENVELOPES, run.stdout
                    body = [n for n in root.childNodes if n.localName == "Body"][0]
                    schema = main_schema
                    if operation["style"] == "rpc":
                        schema = os.path.join(directory, "rpc.xsd")
                        rpc_schema(operation, files, schema)
                    for element in [n for n in body.childNodes if n.nodeType == n.ELEMENT_NODE]:
                        instance = os.path.join(directory, "instance.xml")
                        with open(instance, "w") as out:
                            out.write(standalone(element))
                        check = subprocess.run(["xmllint", "--noout", "--schema", schema,
                                                instance], capture_output=True, text=True)
                        checked += 1
                        if check.returncode != 0:
                            print("FAIL %s %s:\n%s\n%s" % (wsdl, name, run.stdout,
                                                           check.stderr.strip()))
                            failures += 1
    print("%d request bodies validated, %d failures" % (checked, failures))
    return 1 if failures or not checked else 0


if __name__ == "__main__":
    sys.exit(main())

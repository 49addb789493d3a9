// Loads a description the way the loader read documents before the internal reader (WMXMLParser
// in event mode driving the same frame and handlers, imports included) or the library's way, and
// writes everything a caller can learn about the result as text, so that the two can be
// compared. Shared by the load differential test and its fuzz target.
#ifndef CORVANE_TESTS_WSDL_LOAD_DIFF_H
#define CORVANE_TESTS_WSDL_LOAD_DIFF_H

#include <corvane/utf8.h>
#include <corvane/wsdl.h>
#include <corvane/xml.h>
#include <corvane/xml_parser.h>

#include <optional>
#include <string>

#include "wsdl/description.h"
#include "wsdl/frame.h"

namespace loaddiff {

class MapTag final : public corvane::StartTag {
public:
    MapTag(const WMString& ns, const WMString& local, const WMString& qname,
           const WMXMLAttributeMap& attributes, WMWSDLParseEventHandler& frame)
        : StartTag(ns, local, qname, frame.Prefixes()), m_attributes(attributes) {}

private:
    std::optional<corvane::WStringView> Lookup(const Key& key) const override {
        WMString joined;
        for (corvane::WStringView part : key.part) {
            joined.append(part);
        }
        const auto it = m_attributes.find(joined);
        return it == m_attributes.end()
                   ? std::nullopt
                   : std::optional<corvane::WStringView>(it->second->GetValue());
    }

    const WMXMLAttributeMap& m_attributes;
};

class ParserEvents final : public WMXMLEventHandler {
public:
    explicit ParserEvents(WMWSDLParseEventHandler& frame) : m_frame(frame) {}

    void StartDoc() override { m_frame.StartDoc(); }
    int StartElement(const WMString& ns, const WMString& local, const WMString& qname,
                     WMXMLAttributeMap& attributes, WMXMLElement*) override {
        MapTag tag(ns, local, qname, attributes, m_frame);
        m_frame.StartElement(tag);
        return 0;
    }
    bool EndElement(const WMString&, const WMString&, const WMString&, WMXMLElement*) override {
        m_frame.EndElement();
        return true;
    }
    void Characters(const WMString& text) override { m_frame.Characters(text); }
    void StartNSMapping(const WMString& prefix, const WMString& uri) override {
        m_frame.StartNSMapping(prefix, uri);
    }
    void EndNSMapping(const WMString& prefix) override { m_frame.EndNSMapping(prefix); }

private:
    WMWSDLParseEventHandler& m_frame;
};

inline bool ReadWithParser(const WMString& text, WMWSDLParseEventHandler& frame, int& line) {
    ParserEvents events(frame);
    WMXMLParser parser;
    parser.SetBuildTree(false);
    try {
        parser.ParseXML(text, &events);
        return true;
    } catch (int at) {
        line = at;
        return false;
    }
}

// While it lives, loads made on this thread read their documents with WMXMLParser.
class ReferenceReader {
public:
    ReferenceReader() : m_previous(corvane::detail::ExchangeDocumentReader(&ReadWithParser)) {}
    ~ReferenceReader() { corvane::detail::ExchangeDocumentReader(m_previous); }
    ReferenceReader(const ReferenceReader&) = delete;
    ReferenceReader& operator=(const ReferenceReader&) = delete;

private:
    corvane::detail::DocumentReader m_previous;
};

// Writes the description tree: every field of every handler a query can reach, tables in their
// order. Anonymous types carry a fresh GUID name per load, so they are written where their
// element refers to them, under a placeholder name.
class Dumper {
public:
    std::string Dump(const WMWSDLParser& parser) {
        m_out.clear();
        const WMSOAPWSDLDesc* desc = parser.GetWSDLDesc();
        Line("error", parser.GetLoadErrorCategory() + u": " + parser.GetLoadErrorMessage());
        if (!desc) {
            return m_out;
        }
        const WMSOAPDefinitionsHandler& defs = desc->GetDefinitions();
        Line("definitions", defs.GetName() + u" " + defs.GetDefinitionsTNS());
        for (const auto& [name, message] : defs.GetMessages()) {
            Line("message", name + Tns(*message));
            for (const auto& [partName, part] : message->GetParts()) {
                Line(" part", partName + Tns(*part) + Q(part->GetElement()) + Q(part->GetType()) +
                                  (part.get() == message->GetFirstPart() ? u" first" : u""));
            }
        }
        for (const auto& [name, portType] : defs.GetPortTypes()) {
            Line("portType", name + Tns(*portType));
            for (const auto& [opName, op] : portType->GetOperations()) {
                WMString order;
                for (const auto& [part, index] : op->GetParamIndex()) {
                    order += u" " + part + u"=" + Number(index);
                }
                Line(" operation",
                     opName + Tns(*op) + u" [" + op->GetParameterOrder() + u"]" + order);
                OpMessage("  input", op->GetInput());
                OpMessage("  output", op->GetOutput());
                for (const auto& [faultName, fault] : op->GetFaults()) {
                    OpMessage("  fault", fault.get());
                }
            }
        }
        for (const auto& [name, binding] : defs.GetBindings()) {
            const WMSOAPBindingBindingExt* ext = binding->GetBindingExt();
            Line("binding", name + Tns(*binding) + Q(binding->GetType()) +
                                (ext ? u" " + ext->GetStyle() + u" " + ext->GetTransport() : u""));
            for (const auto& [opName, op] : binding->GetOperations()) {
                const WMSOAPBindingOpExt* opExt = op->GetOperationExt();
                Line(" operation",
                     opName + Tns(*op) +
                         (opExt ? u" " + opExt->GetSOAPAction() + u" " + opExt->GetStyle() : u""));
                if (opExt) {
                    const WMSOAPOperationHandler* byAction =
                        binding->FindOperationBySOAPAction(opExt->GetSOAPAction());
                    Line("  byAction", byAction ? byAction->GetName() : u"-");
                }
                BoundMessage("  input", op->GetInput());
                BoundMessage("  output", op->GetOutput());
                for (const auto& fault : op->GetFaults()) {
                    const WMSOAPBindingFaultExt* f = fault->GetFault();
                    Line("  fault", fault->GetName() + Tns(*fault) + Q(fault->GetMessage()) +
                                        (f ? u" " + f->GetName() + u" " + f->GetUse() + u" " +
                                                 f->GetEncodingStyle() + u" " + f->GetNamespace()
                                           : u""));
                }
            }
        }
        for (const auto& [name, service] : defs.GetServices()) {
            Line("service", name + Tns(*service));
            for (const auto& [portName, port] : service->GetPorts()) {
                Line(" port",
                     portName + Tns(*port) + Q(port->GetBinding()) +
                         (port->GetAddress() ? u" " + port->GetAddress()->GetLocation() : u""));
            }
        }
        Schemas("types", defs.GetTypes().GetSchemas());
        Schemas("root", desc->GetSchemas());
        return m_out;
    }

private:
    static bool IsAnonymous(const WMString& name) {
        return name.size() == 36 && name[8] == u'-' && name[13] == u'-' && name[23] == u'-';
    }
    static WMString Number(long n) {
        std::string digits = std::to_string(n);
        return WMString(digits.begin(), digits.end());
    }
    static WMString Tns(const WMWSDLEventHandler& handler) {
        return u" tns=" + handler.GetTargetNS();
    }
    static WMString Q(const corvane::QName& name) {
        return u" {" + name.ns + u"}" + (IsAnonymous(name.local) ? u"(anonymous)" : name.local);
    }

    void Line(const char* what, const WMString& text) {
        std::string utf8;
        WideStringToUTF8(text, utf8);
        m_out += std::string(m_indent, ' ') + what + " " + utf8 + "\n";
    }

    void OpMessage(const char* what, const WMOperationMessageHandler* message) {
        if (message) {
            Line(what, message->GetName() + Tns(*message) + Q(message->GetMessage()));
        }
    }

    void BoundMessage(const char* what, const WMSOAPMessageBindingHandler* message) {
        if (!message) {
            return;
        }
        const WMSOAPBindingBodyExt* body = message->GetBody();
        Line(what, body ? body->GetParts() + u"|" + body->GetUse() + u"|" +
                              body->GetEncodingStyle() + u"|" + body->GetNamespace() + Tns(*body)
                        : u"no body");
        for (const auto& header : message->GetHeaders()) {
            Header("   header", *header);
            for (const auto& fault : header->GetHeaderFaults()) {
                Header("    headerfault", *fault);
            }
        }
    }

    void Header(const char* what, const WMSOAPBindingHeaderFaultExt& h) {
        Line(what, Q(h.GetMessage()) + u" " + h.GetPart() + u"|" + h.GetUse() + u"|" +
                       h.GetEncodingStyle() + u"|" + h.GetNamespace() + Tns(h));
    }

    void Schemas(const char* what, const corvane::HandlerTable<WMSchemaHandler>& schemas) {
        for (const auto& [tns, schema] : schemas) {
            Line(what,
                 tns + Tns(*schema) + (schema->IsElementFormQualified() ? u" qualified" : u""));
            m_schema = schema.get();
            std::size_t anonymous = 0;
            const auto named = [&](const auto& types, auto write) {
                for (const auto& [name, type] : types) {
                    IsAnonymous(name) ? void(++anonymous) : (this->*write)(name, *type);
                }
            };
            named(schema->GetComplexTypes(), &Dumper::Complex);
            named(schema->GetSimpleTypes(), &Dumper::Simple);
            for (const auto& [name, element] : schema->GetElements()) {
                Element(" element", *element);
            }
            Line(" anonymous", Number(static_cast<long>(anonymous)));
        }
    }

    // An element's anonymous type is written after it, once per reference.
    void Element(const char* what, const WMSchemaElemHandler& element) {
        Line(what, element.GetName() + Tns(element) + Q(element.GetType()) +
                       (element.IsRef() ? u" ref" : u""));
        const WMString& type = element.GetType().local;
        if (!IsAnonymous(type) || m_indent > 64) {
            return;
        }
        m_indent += 2;
        if (const WMSchemaComplexTypeHandler* complex =
                corvane::FindIn(m_schema->GetComplexTypes(), type)) {
            Complex(u"(anonymous)", *complex);
        }
        if (const WMSchemaSimpleTypeHandler* simple =
                corvane::FindIn(m_schema->GetSimpleTypes(), type)) {
            Simple(u"(anonymous)", *simple);
        }
        m_indent -= 2;
    }

    void Complex(const WMString& name, const WMSchemaComplexTypeHandler& type) {
        Line(" complexType", name + Tns(type) + (type.IsArray() ? u" array" : u""));
        Attributes(type);
        Sequence("  sequence", type.GetSequence());
        Sequence("  effective", type.GetEffectiveSequence());
        Content("  complexContent", type.GetComplexContent());
        Content("  simpleContent", type.GetSimpleContent());
    }

    void Simple(const WMString& name, const WMSchemaSimpleTypeHandler& type) {
        const WMRestrictionHandler* restriction = type.GetRestriction();
        Line(" simpleType", name + Tns(type) + (restriction ? Q(restriction->GetBase()) : u""));
    }

    void Attributes(const WMSchemaAttributesOwner& owner) {
        for (const auto& attribute : owner.GetAttributes()) {
            Line("   attribute", attribute->GetName() + Tns(*attribute) + Q(attribute->GetType()) +
                                     Q(attribute->GetRef()));
        }
    }

    void Sequence(const char* what, const WMSequenceHandler* sequence) {
        if (sequence) {
            Line(what, Tns(*sequence));
            for (const auto& element : sequence->GetElements()) {
                Element("   member", *element);
            }
        }
    }

    void Content(const char* what, const WMContentHandler* content) {
        if (!content) {
            return;
        }
        Line(what, Tns(*content));
        const WMDerivationHandler* derivation = content->GetDerivation();
        if (!derivation) {
            return;
        }
        Line("   derivation",
             (derivation->IsExtension() ? WMString(u"extension") : u"restriction") +
                 Tns(*derivation) + Q(derivation->GetBase()));
        Attributes(*derivation);
        Sequence("   sequence", derivation->GetSequence());
        if (const WMArrayTypeAttrHandler* array = derivation->GetArrayType()) {
            Line("   arrayType", Q(array->GetElementType()) + u" " + array->GetDimensions() + u" " +
                                     Number(array->GetDimensionCount()));
        }
    }

    std::string m_out;
    std::size_t m_indent = 0;
    const WMSchemaHandler* m_schema = nullptr;
};

// The dump of a load of `path` (with `docBase` for its imports) by either reader.
inline std::string LoadResult(const std::string& path, const WMString& docBase, bool reference) {
    WMWSDLParser parser;
    parser.SetDocBase(docBase);
    WMString widePath;
    UTF8ToWideString(path, widePath);
    std::optional<ReferenceReader> parserReads;
    if (reference) {
        parserReads.emplace();
    }
    const bool loaded = parser.LoadAndParseWSDLFile(widePath);
    return std::string(loaded ? "loaded\n" : "failed\n") + Dumper().Dump(parser);
}

}  // namespace loaddiff

#endif

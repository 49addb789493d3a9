// The binding view of the document/literal extension: per operation of a SOAP binding, its
// style, use, SOAP version, SOAPAction and message parts resolved in the schema model.
//
// Internal: not part of the exported interface.
#ifndef CORVANE_WSDL_XSD_BINDING_H
#define CORVANE_WSDL_XSD_BINDING_H

#include "wsdl/xsd_model.h"

namespace corvane::detail::xsd {

struct PartView {
    WMString name;
    const Element* element = nullptr;  // an element part
    const Type* type = nullptr;        // a type part
    Name typeName;
};

struct MessageView {
    bool present = false;
    Name message;
    WMString use;         // "literal" or "encoded"; literal when the binding says nothing
    WMString namespace_;  // the body's namespace attribute (rpc style)
    std::vector<PartView> body;
    std::vector<PartView> headers;
};

struct FaultView {
    WMString name;
    MessageView message;
};

struct OperationView {
    WMString name;
    WMString style;  // the operation's, else the binding's, else "document"
    int soapVersion = 11;
    WMString soapAction;
    MessageView input;
    MessageView output;
    std::vector<FaultView> faults;
    // document/literal with one element part named like the operation (any name for the
    // response) whose type is a plain sequence of elements without attributes.
    bool wrapped = false;
};

struct BindingView {
    Name name;
    int soapVersion = 11;
    std::vector<OperationView> operations;
};

// False with `error` naming the message or port type that does not resolve.
bool ViewBinding(const Model& model, const WsdlBinding& binding, BindingView& view,
                 WMString& error);

// Whether the element can be a "wrapped" operation's wrapper (see OperationView::wrapped).
bool IsWrapperElement(const Element& element);

}  // namespace corvane::detail::xsd

#endif

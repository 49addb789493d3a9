// Envelopes of the document/literal extension: the request or response of one operation written
// from values by name, and a response read back into values, by the operation's style:
//   document, wrapped   the parameters are the wrapper element's children, by name; of the
//                       response wrapper's children the first that is no request parameter is
//                       the return value, and every child is an output by name
//   document, bare      one body element per part, by part name; the first output is the return
//   rpc, literal        an operation element (its name, "Response" appended for the answer) in
//                       the body's namespace, one unqualified accessor per part
// Header parts travel as header entries, matched by element name.
//
// Internal: not part of the exported interface.
#ifndef CORVANE_SOAP_LITERAL_ENVELOPE_H
#define CORVANE_SOAP_LITERAL_ENVELOPE_H

#include <corvane/types.h>
#include <corvane/values.h>

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "soap/literal_codec.h"
#include "soap/soap12.h"
#include "wsdl/xsd_binding.h"

namespace corvane::detail {

// One port of a description as the extension calls it: the schema model and the operations of
// the port's binding. Immutable once loaded, so copies of a client and threads share it.
class LiteralPort {
public:
    // Loads `location` with what it imports and views the binding of `port` in `service` (the
    // first SOAP port of the first service where a name is empty). Null with `error` on failure.
    static std::shared_ptr<const LiteralPort> Load(const WMString& location,
                                                   const WMString& service, const WMString& port,
                                                   const xsd::LoadOptions& options,
                                                   WMString& error);

    // The operation, or null.
    const xsd::OperationView* Find(std::u16string_view operation) const;
    int SoapVersion() const { return m_binding.soapVersion; }
    const WMString& Address() const { return m_address; }

private:
    std::shared_ptr<const xsd::Model> m_model;  // owns every declaration the views point at
    xsd::BindingView m_binding;
    WMString m_address;
};

// Whether the extension calls `operation`: document style, or rpc style with literal use.
bool IsLiteralOperation(const xsd::OperationView& operation);

// The names of the values a response of the operation carries: the response wrapper's
// children, or the output parts.
std::vector<WMString> LiteralOutputNames(const xsd::OperationView& operation);

// The SOAPAction of an operation as a 1.1 header carries it, quoted.
WMString QuotedAction(const xsd::OperationView& operation);

// A header entry to write: a member named and qualified like its element.
struct LiteralHeader {
    WMSOAPStructMember value;
    bool mustUnderstand = false;
    WMString actor;  // the 1.1 actor, the 1.2 role; none when empty
};

// Writes the whole envelope of the operation's input (its output with `response`) in the
// binding's SOAP version. Parameters are matched by name (see above); names the message does
// not take but the other direction does are skipped, as out-parameters of a call. Header
// entries are written by the binding's header element of their name, else as they are. False,
// with `error` naming the element, when a value does not fit the schema.
bool WriteLiteralEnvelope(const xsd::OperationView& operation, bool response, const WMString* names,
                          WMSOAPStructMember* values, int count,
                          std::vector<LiteralHeader>& headers, const LiteralLimits& limits,
                          WMString& out, WMString& error);

struct LiteralAnswer {
    bool isFault = false;
    soap12::Fault fault;
    std::vector<WMSOAPStructMember> detail;  // typed where a fault message declares the entry
    std::vector<WMSOAPStructMember> headers;
    bool hasReturn = false;
    WMSOAPStructMember returnValue;
    std::vector<WMSOAPStructMember> outputs;  // named like the parts or wrapper children
    // Set by the caller before reading: the return stays in `outputs` at `returnIndex` and
    // `returnValue` stays empty, which spares copying a large result.
    bool returnInOutputs = false;
    std::size_t returnIndex = 0;
};

// Reads the response `text` of the operation (a fault too). False, with `error` naming the
// element, when the text is no envelope or does not fit the schema.
bool ReadLiteralResponse(const xsd::OperationView& operation, const WMString& text,
                         const LiteralLimits& limits, LiteralAnswer& answer, WMString& error);

}  // namespace corvane::detail

#endif

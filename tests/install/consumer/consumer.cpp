// Uses the installed library through the umbrella header only: values, UTF-8, hex and MD5, and
// the faults that the library throws across its boundary.
#include <corvane/corvane.h>

#include <cstdio>
#include <string>

namespace {

// Faults raised inside the shared library arrive here as pointers that the program deletes.
bool CatchesTheLibrarysFaults() {
    WMSOAPWSDLClient wsdl;
    WMSOAPMessage message;
    message.SetBuffer(u"<broken");
    message.SetRequestPhase(false);
    WMString faultString;
    try {
        message.Deserialize(wsdl);
    } catch (WMSOAPFault* fault) {
        faultString = fault->GetFaultString();
        delete fault;
    }

    WMSOAPAutomationProxy proxy;
    proxy.SetHTTPTimeout(5000);
    WMString context;
    try {
        // Nothing listens on port 1 of the loopback interface.
        proxy.InvokeSOAPMethod(u"\"\"", u"127.0.0.1", 1, u"/", u"consumer", message);
    } catch (WMSOAPProxyFault* fault) {
        context = fault->GetContext();
        delete fault;
    }
    return faultString == u"XML Parser: Parse Error on Line 1." && context == u"Request Message";
}

}  // namespace

int main() {
    WMSOAPStructType st;
    st.SetMember(u"n", 5);
    st.SetMember(u"s", u"text");
    WMSOAPStructMember m;
    long position = 0;
    int count = 0;
    for (bool more = st.GetFirstMember(nullptr, m, &position); more;
         more = st.GetNextMember(nullptr, m, &position)) {
        ++count;
    }
    bool ok = count == 2 && m.GetDataType() == WMSOAPStructMember::SOAPDataMember::SOAP_STRING &&
              st.GetMember(u"n", m) && m.LongValue() == 5;

    std::string utf8;
    ok = ok && WideStringToUTF8(WMString(u"\u00E9\u20AC"), utf8) == 5 &&
         utf8 == "\xC3\xA9\xE2\x82\xAC";

    WMHexCode hex;
    unsigned char const bytes[] = {0x00, 0xAB};
    WMString hexText;
    ok = ok && hex.Encode(bytes, 2, hexText) && hexText == u"00AB";

    WMMD5 md5;
    WMString digest;
    md5.FinalizeHexEncoded(digest);
    ok = ok && digest == u"D41D8CD98F00B204E9800998ECF8427E";

    ok = ok && CatchesTheLibrarysFaults();

    std::printf("corvane %s consumer: %s\n", CORVANE_VERSION, ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}

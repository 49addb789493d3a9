// Uses the installed library through the umbrella header only: values, UTF-8, hex and MD5.
#include <corvane/corvane.h>

#include <cstdio>
#include <string>

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

    std::printf("corvane %s consumer: %s\n", CORVANE_VERSION, ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}

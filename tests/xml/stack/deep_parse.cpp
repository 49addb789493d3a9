// Parses documents nested to the depth limit and beyond. Run with the stack limited to
// 256 KiB (see tests/xml/CMakeLists.txt): it proves the recursive descent fits in such a stack.
#include <corvane/xml_parser.h>

#include <cstdio>

namespace {

WMString Nested(int depth) {
    WMString text;
    for (int i = 0; i < depth; ++i) {
        text += u"<e:a xmlns:e='urn:e' k='v'>";
    }
    for (int i = 0; i < depth; ++i) {
        text += u"t</e:a>";
    }
    return text;
}

class Handler : public WMXMLEventHandler {
public:
    int StartElement(WMString const&, WMString const&, WMString const&, WMXMLAttributeMap&,
                     WMXMLElement*) override {
        return 0;
    }
};

int Parse(WMString const& text, bool buildTree) {
    WMXMLParser parser;
    parser.SetBuildTree(buildTree);
    Handler handler;
    try {
        parser.ParseXML(text, &handler);
        WMString out;
        parser.SerializeXML(out);
    } catch (int line) {
        return line;
    }
    return 0;
}

}  // namespace

int main() {
    int const limit = WMXMLParser::kMaxNestingDepth;
    bool ok = true;
    for (bool buildTree : {true, false}) {
        ok = ok && Parse(Nested(limit), buildTree) == 0;
        ok = ok && Parse(Nested(limit + 1), buildTree) == 1;
        ok = ok && Parse(Nested(1000000), buildTree) == 1;
    }
    std::puts(ok ? "deep documents: ok" : "deep documents: unexpected result");
    return ok ? 0 : 1;
}

// With hoisting on, a prefix is declared once on the outermost element, unless it is bound to
// another URI where it is used; the text is escaped as without it.
#include <gtest/gtest.h>

#include <string_view>

#include "soap/envelope_writer.h"

namespace {

using corvane::detail::EnvelopeWriter;

constexpr std::u16string_view kT = u"urn:t";
constexpr std::u16string_view kOther = u"urn:other";
constexpr std::u16string_view kOne = u"one";
constexpr std::u16string_view kSpecial = u"<&>\"'\r";

void Typed(EnvelopeWriter& out, std::u16string_view value, std::u16string_view text = {}) {
    out.Open({}, u"v");
    out.SetAttribute(u"t", u"k", kT, value);
    out.Text(text);
    out.Close();
}

TEST(EnvelopeWriterHoisting, PrefixesBoundOnceUnlessShadowed) {
    WMString text;
    {
        EnvelopeWriter out(text);
        out.HoistDeclarations(true);
        out.EscapeCarriageReturns(true);
        out.Open(u"e", u"root");
        out.DeclarePrefix(u"e", u"urn:e");
        Typed(out, kOne, u"1");
        Typed(out, kOne, u"a\rb");
        out.Open(u"e", u"in");
        out.DeclarePrefix(u"t", kOther);  // shadows the hoisted binding below it
        Typed(out, kOne);
        out.Close();
        Typed(out, kOne);
        out.Open({}, u"d");  // a default namespace would capture every unqualified name
        out.DeclarePrefix({}, kT);
        out.Text(kSpecial);
        out.Close();
        Typed(out, kSpecial);
        out.Close();
    }
    EXPECT_EQ(text,
              u"<e:root xmlns:e=\"urn:e\" xmlns:t=\"urn:t\">"
              u"<v t:k=\"one\">1</v>"
              u"<v t:k=\"one\">a&#xD;b</v>"
              u"<e:in xmlns:t=\"urn:other\"><v t:k=\"one\" xmlns:t=\"urn:t\" /></e:in>"
              u"<v t:k=\"one\" />"
              u"<d xmlns=\"urn:t\">&lt;&amp;&gt;\"'&#xD;</d>"
              u"<v t:k=\"&lt;&amp;>&quot;&apos;&#xD;\" />"
              u"</e:root>");
}

}  // namespace

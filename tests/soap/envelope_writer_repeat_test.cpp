// The writer reuses the start tag of an element written before when the next one is set up
// alike; any difference in what the tag is made of must still show.
#include <gtest/gtest.h>

#include <string_view>

#include "soap/envelope_writer.h"

namespace {

using corvane::detail::EnvelopeWriter;

constexpr std::u16string_view kOne = u"one";
constexpr std::u16string_view kTwo = u"two";
constexpr std::u16string_view kReturn = u"a\rb";
constexpr std::u16string_view kT = u"urn:t";

void Typed(EnvelopeWriter& out, std::u16string_view value, std::u16string_view text = {}) {
    out.Open({}, u"v");
    out.SetAttribute(u"t", u"k", kT, value);
    out.Text(text);
    out.Close();
}

TEST(EnvelopeWriterRepeats, EveryPartOfAStartTagStillCounts) {
    WMString text;
    {
        EnvelopeWriter out(text);
        out.Open(u"e", u"root");
        out.DeclarePrefix(u"e", u"urn:e");
        Typed(out, kOne, u"1");
        Typed(out, kOne, u"2");
        Typed(out, kTwo);
        out.Open(u"e", u"v");  // the same local name under a prefix
        out.SetAttribute(u"t", u"k", kT, kOne);
        out.Close();
        out.Open(u"e", u"in");  // a parent that declares the prefix already
        out.DeclarePrefix(u"t", kT);
        Typed(out, kOne);
        out.Close();
        Typed(out, kOne);
        Typed(out, kReturn);
        out.EscapeCarriageReturns(true);
        Typed(out, kReturn);
        out.Close();
    }
    EXPECT_EQ(text,
              u"<e:root xmlns:e=\"urn:e\">"
              u"<v t:k=\"one\" xmlns:t=\"urn:t\">1</v>"
              u"<v t:k=\"one\" xmlns:t=\"urn:t\">2</v>"
              u"<v t:k=\"two\" xmlns:t=\"urn:t\" />"
              u"<e:v t:k=\"one\" xmlns:t=\"urn:t\" />"
              u"<e:in xmlns:t=\"urn:t\"><v t:k=\"one\" /></e:in>"
              u"<v t:k=\"one\" xmlns:t=\"urn:t\" />"
              u"<v t:k=\"a\rb\" xmlns:t=\"urn:t\" />"
              u"<v t:k=\"a&#xD;b\" xmlns:t=\"urn:t\" />"
              u"</e:root>");
}

}  // namespace

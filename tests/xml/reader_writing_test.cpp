// Written texts longer than the reader's write buffer, with every escaped character before, at
// and across its boundary, and documents read one after another on the blocks the thread kept
// from the one before.
#include <gtest/gtest.h>

#include <string>

#include "reader_diff.h"
#include "xml/recorder.h"

namespace {

WMString Document(std::size_t pad) {
    WMString const filler(pad, u'x');
    WMString const specials = u"&amp;&lt;&gt;&quot;&apos;";
    return u"<r a='" + filler + specials + u"' b=\"" + specials + filler + u"\">" + filler +
           specials + u"\"'<c/>" +
           Repeat(u"<e f='&quot;" + filler.substr(0, pad % 97) + u"'>&lt;" + filler + u"</e>", 30) +
           u"</r>";
}

TEST(XMLReaderWriting, TextsAcrossTheWriteBufferWriteAlike) {
    for (std::size_t pad : {0u, 1u, 2040u, 2046u, 2047u, 2048u, 2049u, 4100u}) {
        WMString const text = Document(pad);
        EXPECT_EQ(readerdiff::ParserResult(text, true), readerdiff::ReaderResult(text, true))
            << "pad " << pad;
    }
}

TEST(XMLReaderWriting, ReadsOnKeptBlocksReadAlike) {
    WMString const large = Repeat(u"<n a='1'>text &amp; more</n>", 5000);
    for (WMString const& body : {large, WMString(u"<m b='2'/>"), large + u"<m/>"}) {
        WMString const text = u"<r xmlns:p='urn:p'>" + body + u"</r>";
        for (bool tree : {true, false}) {
            EXPECT_EQ(readerdiff::ParserResult(text, tree), readerdiff::ReaderResult(text, tree));
        }
    }
}

}  // namespace

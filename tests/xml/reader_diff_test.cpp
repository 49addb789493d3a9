// The internal reader against WMXMLParser: every document of the test data, every WSDL, the
// fuzz seeds and a table of hostile and odd inputs must give the same events, error lines,
// trees and written texts in both modes.
#include <corvane/utf8.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "reader_diff.h"
#include "support/support.h"
#include "xml/recorder.h"

namespace {

// tests/data/expected/xml/reader_odd_inputs.txt, one input a line, its escapes decoded.
std::vector<WMString> OddInputs() {
    std::istringstream in(
        corvane::test::ReadFile(corvane::test::DataPath("expected/xml/reader_odd_inputs.txt")));
    std::vector<WMString> inputs;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line[0] != '#') {
            inputs.push_back(corvane::test::Unescape(line));
        }
    }
    return inputs;
}

void ExpectSame(WMString const& text, std::string const& what) {
    for (bool buildTree : {true, false}) {
        EXPECT_EQ("", corvane::test::FirstDifference(readerdiff::ParserResult(text, buildTree),
                                                     readerdiff::ReaderResult(text, buildTree)))
            << what << (buildTree ? " (tree)" : " (events)");
    }
}

// The files as the library reads them (bytes as code units, the ANSI code page of the
// platform layer), as UTF-8, and the fuzz seeds as the fuzzers read them.
TEST(XMLReaderDiff, CorpusReadsAlike) {
    namespace fs = std::filesystem;
    fs::path const data(corvane::test::DataPath(""));
    fs::path const seeds = fs::path(corvane::test::TestsDir()) / "fuzz" / "corpus" / "xml";
    int files = 0;
    for (fs::path const& dir : {data, seeds}) {
        for (auto const& entry : fs::recursive_directory_iterator(dir)) {
            std::string const ext = entry.path().extension().string();
            if (!entry.is_regular_file() ||
                (ext != ".xml" && ext != ".wsdl" && ext != ".xsd" && ext != ".bin")) {
                continue;
            }
            std::string const name = entry.path().string();
            std::string const bytes = corvane::test::ReadFile(name);
            WMString utf8;
            UTF8ToWideString(bytes, utf8);
            ExpectSame(corvane::test::Widen(bytes), name);
            ExpectSame(utf8, name + " as UTF-8");
            if (dir == seeds) {
                ExpectSame(readerdiff::FuzzText(reinterpret_cast<std::uint8_t const*>(bytes.data()),
                                                bytes.size()),
                           name + " as a fuzz input");
            }
            ++files;
        }
    }
    EXPECT_GT(files, 60);
}

TEST(XMLReaderDiff, OddAndHostileInputsReadAlike) {
    std::vector<WMString> cases = OddInputs();
    ASSERT_GT(cases.size(), 60u);
    for (WMString const& text :
         {WMString(u""), WMString(u"   "), Repeat(u"<a>", 256) + Repeat(u"</a>", 256),
          Repeat(u"<a>", 257) + Repeat(u"</a>", 257), Repeat(u"<a>\n", 300),
          Repeat(u"<a xmlns:p='u'>\r\n", 260)}) {
        cases.push_back(text);
    }
    for (WMString const& text : cases) {
        std::string shown;
        readerdiff::Put(shown, text.substr(0, 80));
        ExpectSame(text, shown);
    }
}

// The copy budget runs out on the same line: each element stands on a line of its own, so a
// charge counted differently anywhere before shows as another line.
TEST(XMLReaderDiff, CopyBudgetRunsOutOnTheSameLine) {
    WMString const uri(1u << 14, u'u');
    WMString const longName = u"p:" + WMString(300, u'n');
    struct Pattern {
        WMString start;
        WMString line;
        std::size_t count;
        WMString end;
    } const patterns[] = {
        {u"<r xmlns:p='" + uri + u"'>\n", u"<p:a p:x='' x='' a=''/>\n", 2000, u"</r>"},
        {u"<r xmlns='" + uri + u"'>\n", u"<a a=''/>\n", 4000, u"</r>"},
        {u"<r xmlns:p='" + uri + u"'>\n", u"<b xmlns:q='x'><p:a q:a='' a=''/></b>\n", 2000,
         u"</r>"},
        {u"<r xmlns:p='" + uri + u"'>\n", u"<" + longName + u"/>\n", 2000, u"</r>"},
        {u"<r xmlns='" + uri + u"' xmlns:p='" + uri + u"'>\n", u"<a p:b='' xmlns:c=''>\n", 255,
         Repeat(u"</a>\n", 255) + u"</r>"},
    };
    int index = 0;
    for (Pattern const& pattern : patterns) {
        WMString const text = pattern.start + Repeat(pattern.line, pattern.count) + pattern.end;
        EXPECT_NE(readerdiff::ParserResult(text, false).find("thrown"), std::string::npos);
        ExpectSame(text, "budget pattern " + std::to_string(index++));
    }
    // The nested declarations fail at different depths, on start and on end tags, as the
    // namespace grows.
    for (std::size_t size = 4000; size < 20000; size += 1500) {
        WMString const grown(size, u'g');
        ExpectSame(u"<r xmlns='" + grown + u"'>\n" + Repeat(u"<a xmlns:q=''>\n", 250) +
                       Repeat(u"</a>\n", 250) + u"</r>",
                   "nested budget " + std::to_string(size));
    }
    WMString manyAttributes = u"<a";
    for (std::size_t i = 0; i < 3000; ++i) {
        manyAttributes +=
            u" n" + Widen(std::to_string(i % 1000) + "x" + std::to_string(i / 1000)) + u"='v'";
    }
    ExpectSame(manyAttributes + u"/>", "many attributes");
    ExpectSame(manyAttributes + u" n999x2='w'/>", "many attributes, one repeated");
}

// Written texts longer than the reader's write buffer, with every escaped character before, at
// and across its boundary.
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
        ExpectSame(Document(pad), "pad " + std::to_string(pad));
    }
}

// Documents read one after another on the blocks the thread kept from the one before.
TEST(XMLReaderWriting, ReadsOnKeptBlocksReadAlike) {
    WMString const large = Repeat(u"<n a='1'>text &amp; more</n>", 5000);
    for (WMString const& body : {large, WMString(u"<m b='2'/>"), large + u"<m/>"}) {
        ExpectSame(u"<r xmlns:p='urn:p'>" + body + u"</r>", "kept blocks");
    }
}

}  // namespace

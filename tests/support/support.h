// Helpers every suite may use: text both ways, files and scratch directories, shell commands,
// and the SOAP peers of tests/peers run as processes.
#ifndef CORVANE_TESTS_SUPPORT_SUPPORT_H
#define CORVANE_TESTS_SUPPORT_SUPPORT_H

#include <corvane/types.h>

#include <string>
#include <vector>

namespace corvane::test {

// The tests/ folder of the source tree, and a file under tests/data.
std::string TestsDir();
std::string DataPath(const std::string& relative);
std::string ReadFile(const std::string& path);
// A table of expected results under tests/data: "input => expected" rows, grouped under
// "@ section" lines; lines that start with '#' and empty lines are skipped.
struct TableRow {
    std::string section;
    std::string input;
    std::string expected;
    std::string where;  // "file:line", for failure messages
};
std::vector<TableRow> ReadTable(const std::string& relative);
// The text a table cell stands for: \r \n \t \0 \\ \xNN and \uNNNN are the code units they
// name; a backslash before any other character stands for that character.
WMString Unescape(const std::string& cell);

// "" when two prints are equal, else where they first part: the line number and that line of
// each, so a failure on a large print shows the difference rather than both prints.
std::string FirstDifference(const std::string& expected, const std::string& actual);

// Runs a shell command; its standard output, and whether it exited with status 0.
bool RunShell(const std::string& command, std::string* output = nullptr);
// ASCII and Latin-1 text both ways (each byte is one code unit), as on the wire.
WMString Widen(const std::string& text);
std::string Narrow(const WMString& text);

// Whether `text` is a version 4 GUID in upper-case hex digits, in braces when `braced`.
bool IsGuidText(const WMString& text, bool braced);

// A fresh directory under the system's temporary directory, removed with the object.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& Path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "/" + name; }
    // Writes `name` (folders included) and returns its path.
    std::string Write(const std::string& name, const std::string& bytes) const;

private:
    std::string path_;
};

// A server of tests/peers/start (php, php-ssl, soaplite, tls), stopped with the object.
class Peer {
public:
    Peer() = default;
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    // False when the server did not come up (for tls: typically port 443 not bindable).
    bool Start(const std::string& arguments);

private:
    std::string pid_;
};

}  // namespace corvane::test

#endif

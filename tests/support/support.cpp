#include "support/support.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

namespace corvane::test {

namespace fs = std::filesystem;

std::string TestsDir() {
    return fs::path(CORVANE_TEST_DATA).parent_path().string();
}

std::string DataPath(const std::string& relative) {
    return std::string(CORVANE_TEST_DATA) + "/" + relative;
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

std::vector<TableRow> ReadTable(const std::string& relative) {
    std::istringstream in(ReadFile(DataPath(relative)));
    std::vector<TableRow> rows;
    std::string section;
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        const std::string where = relative + ":" + std::to_string(number);
        if (line.empty() || line[0] == '#') {
            continue;
        }
        if (line.rfind("@ ", 0) == 0) {
            section = line.substr(2);
            continue;
        }
        const std::size_t arrow = line.find(" =>");
        if (arrow == std::string::npos) {
            rows.push_back({section, line, "(no \" => \" in this row)", where});
            continue;
        }
        const std::size_t value = std::min(line.size(), arrow + 4);
        rows.push_back({section, line.substr(0, arrow), line.substr(value), where});
    }
    return rows;
}

std::string FirstDifference(const std::string& expected, const std::string& actual) {
    std::size_t at = 0;
    while (at < expected.size() && at < actual.size() && expected[at] == actual[at]) {
        ++at;
    }
    if (at == expected.size() && at == actual.size()) {
        return "";
    }
    // From the start of the line, or a little before the difference on a long line.
    const std::size_t newline = at == 0 ? std::string::npos : expected.rfind('\n', at - 1);
    const std::size_t lineStart = newline == std::string::npos ? 0 : newline + 1;
    const std::size_t from = std::max(lineStart, at > 200 ? at - 200 : 0);
    const auto line = std::count(expected.begin(), expected.begin() + at, '\n') + 1;
    return "line " + std::to_string(line) + "\nexpected: " + expected.substr(from, 400) +
           "\nactual:   " + actual.substr(from, 400);
}

WMString Unescape(const std::string& cell) {
    WMString text;
    for (std::size_t i = 0; i < cell.size(); ++i) {
        const char c = cell[i] == '\\' && i + 1 < cell.size() ? cell[++i] : 0;
        const std::size_t digits = c == 'x' ? 2 : c == 'u' ? 4 : 0;
        if (digits > 0) {
            text += static_cast<WMChar>(std::stoul(cell.substr(i + 1, digits), nullptr, 16));
            i += digits;
            continue;
        }
        text += c == 0     ? static_cast<WMChar>(static_cast<unsigned char>(cell[i]))
                : c == 'r' ? u'\r'
                : c == 'n' ? u'\n'
                : c == 't' ? u'\t'
                : c == '0' ? u'\0'
                           : static_cast<WMChar>(c);
    }
    return text;
}

WMString Widen(const std::string& text) {
    WMString wide;
    for (char c : text) {
        wide.push_back(static_cast<unsigned char>(c));
    }
    return wide;
}

std::string Narrow(const WMString& text) {
    return std::string(text.begin(), text.end());
}

bool IsGuidText(const WMString& text, bool braced) {
    // '_' is an upper-case hex digit; the 4 is the version.
    const std::string shape = "________-____-4___-____-____________";
    const std::string form = braced ? "{" + shape + "}" : shape;
    if (text.size() != form.size()) {
        return false;
    }
    for (std::size_t i = 0; i < form.size(); ++i) {
        const char16_t c = text[i];
        const bool hex = (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'F');
        if (form[i] == '_' ? !hex : c != static_cast<char16_t>(form[i])) {
            return false;
        }
    }
    return true;
}

TempDir::TempDir() {
    static std::atomic<int> counter{0};
    path_ = (fs::temp_directory_path() / ("corvane-test-" + std::to_string(std::random_device{}()) +
                                          "-" + std::to_string(counter++)))
                .string();
    fs::create_directories(path_);
}

TempDir::~TempDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string TempDir::Write(const std::string& name, const std::string& bytes) const {
    const fs::path file = fs::path(path_) / name;
    fs::create_directories(file.parent_path());
    // Written aside and renamed, so a reader never sees half a file.
    const fs::path temp = file.string() + ".tmp";
    std::ofstream(temp, std::ios::binary | std::ios::trunc) << bytes;
    fs::rename(temp, file);
    return file.string();
}

bool RunShell(const std::string& command, std::string* output) {
    TempDir dir;
    const std::string out = dir.File("out");
    const int status = std::system((command + " > '" + out + "'").c_str());
    if (output != nullptr) {
        *output = ReadFile(out);
    }
    return status == 0;
}

bool Peer::Start(const std::string& arguments) {
    std::string pid;
    if (!RunShell("'" + TestsDir() + "/peers/start' " + arguments, &pid)) {
        return false;
    }
    pid_ = pid.substr(0, pid.find_first_of("\r\n"));
    return !pid_.empty();
}

Peer::~Peer() {
    if (!pid_.empty()) {
        RunShell("'" + TestsDir() + "/peers/stop' " + pid_);
    }
}

}  // namespace corvane::test

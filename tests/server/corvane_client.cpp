// Corvane's own WMSOAPClient against the interop server: every operation of both round 2
// suites, each call and its answer a row of TABLE (tests/data/expected/server).
// Usage: corvane_client BASE_URL TABLE
// The client reads each WSDL from the server (GET on the endpoint), which also makes that URL
// the endpoint.
#include <corvane/corvane.h>

#include <fstream>
#include <iostream>
#include <string>

#include "support/value_text.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: corvane_client BASE_URL TABLE\n";
        return 2;
    }
    std::string const base = argv[1];
    WMSOAPClient suites[2];
    WMString location;
    UTF8ToWideString(base + "round2_base.inc", location);
    bool ready = suites[0].Initialize(location, u"InteropTest", u"InteropTestPort", u"",
                                      u"corvane-interop", u"", false);
    UTF8ToWideString(base + "round2_groupB.inc", location);
    ready = suites[1].Initialize(location, u"interopLabB", u"interopTestPortB", u"",
                                 u"corvane-interop", u"", false) &&
            ready;
    int passed = 0;
    int failed = ready ? 0 : 1;
    std::ifstream table(argv[2]);
    WMSOAPClient* client = &suites[0];
    for (std::string line; ready && std::getline(table, line);) {
        if (line.rfind("@ ", 0) == 0) {
            client = &suites[line == "@ groupB" ? 1 : 0];
        } else if (!line.empty() && line[0] != '#') {
            std::size_t const arrow = line.find(" => ");
            client->NewMessage();
            std::string const got = corvane::test::CallOf(*client, line.substr(0, arrow));
            std::string const expected = corvane::test::Exactly(line.substr(arrow + 4));
            if (got == expected) {
                ++passed;
            } else {
                ++failed;
                std::cout << "FAIL " << line << "\n  got " << got << "\n";
            }
        }
    }
    std::cout << passed << " passed, " << failed << " failed\n";
    return failed == 0 && passed > 0 ? 0 : 1;
}

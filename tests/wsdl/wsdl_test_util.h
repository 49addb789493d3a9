// Helpers shared by the WSDL tests: text conversion, documents written to a scratch directory,
// and a client that exposes the protected lookups.
#ifndef CORVANE_TESTS_WSDL_TEST_UTIL_H
#define CORVANE_TESTS_WSDL_TEST_UTIL_H

#include <corvane/wsdl.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace corvane::test {

inline std::string Narrow(const WMString& text) {
    return std::string(text.begin(), text.end());
}

inline WMString Wide(const std::string& text) {
    return WMString(text.begin(), text.end());
}

inline std::string DataDir() {
    return std::string(CORVANE_TEST_DATA) + "/wsdl";
}

// A fresh directory under the system's temporary directory, removed with its contents.
class ScratchDir {
public:
    ScratchDir() {
        static std::atomic<int> counter{0};
        m_path = std::filesystem::temp_directory_path() /
                 ("corvane-wsdl-" + std::to_string(std::random_device{}()) + "-" +
                  std::to_string(counter++));
        std::filesystem::create_directories(m_path);
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    std::string Write(const std::string& name, const std::string& content) const {
        std::filesystem::path file = m_path / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
        return file.string();
    }
    std::string Path() const { return m_path.string(); }

private:
    std::filesystem::path m_path;
};

// A `definitions` element with the usual prefixes around `body`: the default namespace and
// `wsdl` are WSDL, `soap` the SOAP binding, `xsd` the 2001 schema, `enc` SOAP encoding and
// `tns` the target namespace "urn:t".
inline std::string Definitions(const std::string& body,
                               const std::string& attributes = "targetNamespace=\"urn:t\"") {
    return "<?xml version=\"1.0\"?>\n<definitions name=\"T\" " + attributes +
           " xmlns=\"http://schemas.xmlsoap.org/wsdl/\""
           " xmlns:wsdl=\"http://schemas.xmlsoap.org/wsdl/\""
           " xmlns:soap=\"http://schemas.xmlsoap.org/wsdl/soap/\""
           " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
           " xmlns:enc=\"http://schemas.xmlsoap.org/soap/encoding/\""
           " xmlns:tns=\"urn:t\">\n" +
           body + "\n</definitions>\n";
}

// Exposes the protected lookups of the client.
class ProbeClient : public WMSOAPWSDLClient {
public:
    using WMSOAPWSDLClient::GetInputMessage;
    using WMSOAPWSDLClient::GetOutputMessage;
    using WMSOAPWSDLClient::GetSOAPBinding;
};

}  // namespace corvane::test

#endif

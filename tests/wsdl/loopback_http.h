// A small HTTP/1.0 server on 127.0.0.1 with an ephemeral port, for tests that fetch documents.
// It is test scaffolding only, so it talks to the socket interface directly.
#ifndef CORVANE_TESTS_WSDL_LOOPBACK_HTTP_H
#define CORVANE_TESTS_WSDL_LOOPBACK_HTTP_H

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace corvane::test {

class LoopbackHttpServer {
public:
    struct Response {
        int status = 200;
        std::string body;
    };

    // Serves `files` (request target to body) and, for other targets, the file under
    // `rootDirectory` named by the path (the query removed); 404 otherwise.
    explicit LoopbackHttpServer(std::string rootDirectory = std::string());
    ~LoopbackHttpServer();
    LoopbackHttpServer(const LoopbackHttpServer&) = delete;
    LoopbackHttpServer& operator=(const LoopbackHttpServer&) = delete;

    void Set(const std::string& target, Response response);
    int Port() const { return m_port; }
    // The request heads received so far (request line and header lines).
    std::vector<std::string> Requests();

private:
    void Run();
    void Serve(int client);
    Response Lookup(const std::string& target);

    std::string m_root;
    int m_listener = -1;
    int m_port = 0;
    std::atomic<bool> m_stop{false};
    std::mutex m_mutex;
    std::map<std::string, Response> m_routes;
    std::vector<std::string> m_requests;
    std::thread m_thread;
};

}  // namespace corvane::test

#endif

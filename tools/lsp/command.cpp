// jsoncodec lsp: the language server on standard input and output. One
// thread: poll() waits for input, or for the pause in typing after which a
// changed document's diagnostics are due. Only the protocol goes to
// standard output; the log goes to standard error.
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <vector>

#include "commands.h"
#include "server.h"

namespace tool {
namespace {

// Writes all of `bytes` to standard output; false when it cannot. The
// server installs no signal handler (SIGPIPE is ignored), so no call here is
// interrupted: a stopped and continued process has its calls restarted.
bool write_all(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (written <= 0) return false;
        bytes.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

}  // namespace

int lsp_command(const Settings &) {
    std::signal(SIGPIPE, SIG_IGN);
    bool broken = false;
    lsp::Server server(
        [&](std::string_view bytes) {
            if (!broken && !write_all(bytes)) broken = true;
        },
        [](std::string_view line) {
            std::fprintf(stderr, "jsoncodec lsp: %.*s\n", static_cast<int>(line.size()), line.data());
        },
        JSONCODEC_VERSION);
    std::vector<char> buffer(size_t{1} << 20);
    while (!server.finished() && !broken) {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        const int ready = ::poll(&input, 1, server.wait_ms(lsp::Clock::now()));
        if (ready < 0) break;
        if (ready == 0) {
            server.publish_due(lsp::Clock::now());
            continue;
        }
        const ssize_t got = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (got < 0 && errno == EAGAIN) continue;  // another reader of a non-blocking input took it
        if (got <= 0) {
            server.end_of_input();
            break;
        }
        server.feed(std::string_view(buffer.data(), static_cast<size_t>(got)));
    }
    if (broken) {
        std::fputs("jsoncodec lsp: standard output is closed\n", stderr);
        return 1;
    }
    return server.finished() ? server.exit_status() : 1;
}

}  // namespace tool

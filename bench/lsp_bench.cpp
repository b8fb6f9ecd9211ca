// The language server's costs on generated policies of about 20 KB, 1 MB
// and 10 MB (compact, as the generator writes them): the time from a
// didOpen to its diagnostics, and from a one-character didChange to its
// diagnostics (the pause in typing set to 0, so that only the server's
// work is timed: reading the message, applying the change, checking the
// text, writing the diagnostics), beside the checker alone on the same
// text; and the heap an open document keeps, against its text's size.
//   jsoncodec_lsp_bench [JSONCODEC]
// With the tool's path, the 10 MB row also times `jsoncodec check` of the
// same text as a whole process. Prints one table and the targets.
#include <jansson.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "checker.h"
#include "generator.h"
#include "lsp/server.h"

namespace {

using Seconds = std::chrono::duration<double>;
using tool::lsp::Clock;

std::string framed(json_t *message) {
    char *body = json_dumps(message, JSON_COMPACT);
    json_decref(message);
    std::string bytes = "Content-Length: " + std::to_string(std::strlen(body)) + "\r\n\r\n" + body;
    std::free(body);
    return bytes;
}

size_t heap_in_use() { return mallinfo2().uordblks + mallinfo2().hblkhd; }

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

struct Row {
    size_t bytes;
    double open, change, check, process = 0;
    double memory;  // heap kept per byte of text
};

Row measure(tool::lsp::Server &server, std::string &output, const std::string &text, const std::string &uri,
            int changes) {
    Row row{text.size(), 0, 0, 0, 0, 0};
    auto publish = [&](const std::string &message) {
        output.clear();
        const auto start = Clock::now();
        server.feed(message);
        server.publish_due(Clock::now());
        const double taken = Seconds(Clock::now() - start).count();
        if (output.find("publishDiagnostics") == std::string::npos) std::fputs("no diagnostics published\n", stderr);
        return taken;
    };
    auto opening = [&](const std::string &name) {
        return framed(json_pack("{s:s,s:s,s:{s:{s:s,s:s,s:i,s:s%}}}", "jsonrpc", "2.0", "method",
                                "textDocument/didOpen", "params", "textDocument", "uri", name.c_str(), "languageId",
                                "json", "version", 1, "text", text.data(), text.size()));
    };
    row.open = publish(opening(uri));
    // What one more open document keeps: the same text opened again under
    // another name, once the server's own buffers have grown (a first copy
    // grows them by about one text, once). The heap is read before the
    // message is made and after it is released.
    publish(opening(uri + "-again"));
    const size_t before = heap_in_use();
    publish(opening(uri + "-third"));
    output.clear();
    output.shrink_to_fit();
    const size_t after = heap_in_use();
    row.memory = after > before ? static_cast<double>(after - before) / static_cast<double>(text.size()) : 0.0;
    std::vector<double> times;
    for (int i = 0; i < changes; ++i) {
        // One character typed into the policy's name, and taken back.
        json_t *range = json_pack("{s:{s:i,s:i},s:{s:i,s:i}}", "start", "line", 0, "character", 16, "end", "line", 0,
                                  "character", i % 2 == 0 ? 16 : 17);
        times.push_back(
            publish(framed(json_pack("{s:s,s:s,s:{s:{s:s,s:i},s:[{s:o,s:s}]}}", "jsonrpc", "2.0", "method",
                                     "textDocument/didChange", "params", "textDocument", "uri", uri.c_str(), "version",
                                     i + 2, "contentChanges", "range", range, "text", i % 2 == 0 ? "x" : ""))));
    }
    row.change = median(times);
    times.clear();
    for (int i = 0; i < std::max(3, changes / 4); ++i) {
        tool::Checked checked;
        const auto start = Clock::now();
        tool::check_document(text, {}, checked);
        times.push_back(Seconds(Clock::now() - start).count());
    }
    row.check = median(times);
    return row;
}

}  // namespace

int main(int argc, char **argv) {
    std::string output;
    tool::lsp::Server server([&](std::string_view bytes) { output += bytes; }, [](std::string_view) {}, "bench");
    server.feed(framed(json_pack("{s:s,s:i,s:s,s:{s:{},s:{s:i}}}", "jsonrpc", "2.0", "id", 1, "method", "initialize",
                                 "params", "capabilities", "initializationOptions", "debounceMs", 0)));
    const struct {
        const char *label;
        size_t bytes;
        int changes;
    } sizes[] = {{"20 KB", 20 << 10, 101}, {"1 MB", 1 << 20, 41}, {"10 MB", 10 << 20, 9}};
    std::printf("%-8s %12s %14s %14s %14s %16s %12s\n", "policy", "bytes", "didOpen ms", "didChange ms", "checker ms",
                "check process ms", "heap/text");
    std::vector<Row> rows;
    for (const auto &size : sizes) {
        const std::string text = bench::make_policy(size.bytes, 1);
        Row row = measure(server, output, text, std::string("file:///policy-") + size.label + ".json", size.changes);
        if (argc > 1 && size.bytes == (10 << 20)) {
            const std::string path = "lsp-bench-policy.json";
            if (FILE *file = std::fopen(path.c_str(), "wb")) {
                std::fwrite(text.data(), 1, text.size(), file);
                std::fclose(file);
                std::vector<double> times;
                const std::string command = std::string(argv[1]) + " check " + path + " >/dev/null 2>&1";
                for (int i = 0; i < 5; ++i) {
                    const auto start = Clock::now();
                    if (std::system(command.c_str()) != 0) std::fputs("jsoncodec check failed\n", stderr);
                    times.push_back(Seconds(Clock::now() - start).count());
                }
                row.process = median(times);
                std::remove(path.c_str());
            }
        }
        std::printf("%-8s %12zu %14.3f %14.3f %14.3f %16.3f %12.3f\n", size.label, row.bytes, row.open * 1e3,
                    row.change * 1e3, row.check * 1e3, row.process * 1e3, row.memory);
        rows.push_back(row);
    }
    auto verdict = [](bool met) { return met ? "met" : "not met"; };
    std::printf("\ntargets\n");
    std::printf("  diagnostics after a change, 20 KB: %.3f ms (<= 2 ms) %s\n", rows[0].change * 1e3,
                verdict(rows[0].change <= 0.002));
    std::printf("  diagnostics after a change, 1 MB: %.3f ms (<= 20 ms) %s\n", rows[1].change * 1e3,
                verdict(rows[1].change <= 0.020));
    if (rows[2].process > 0)
        std::printf("  diagnostics of 10 MB after didOpen / jsoncodec check: %.2f (<= 2) %s\n",
                    rows[2].open / rows[2].process, verdict(rows[2].open <= 2 * rows[2].process));
    double worst = 0;
    for (const Row &row : rows) worst = std::max(worst, row.memory);
    std::printf("  memory per open document / its text: %.3f at most (<= 1.5) %s\n", worst, verdict(worst <= 1.5));
    return 0;
}

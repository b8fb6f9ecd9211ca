// Several threads converting at once through the exported functions. The
// library keeps no state between calls and only reads its one process-wide
// variable (the string conversion hook), so every conversion must give the
// same status, diagnostic line and text as it does on a single thread. The
// ThreadSanitizer build runs this test to catch any access that breaks that.
#include <gtest/gtest.h>

#include <functional>
#include <latch>
#include <thread>

#include "documents.h"

namespace {

constexpr int kThreads = 8;
using Job = std::function<std::string()>;

// Runs every job four times over on kThreads threads released at the same
// moment, each thread starting at job `first(thread)`, then checks each result
// against the job run again on this thread alone.
void run_together(const std::vector<Job> &jobs, const std::function<size_t(int)> &first) {
    std::vector<std::vector<std::string>> got(kThreads);
    auto job = [&](int t, size_t i) { return jobs[(first(t) + i) % jobs.size()]; };
    std::latch start(kThreads);
    std::vector<std::jthread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            for (size_t i = 0; i < 4 * jobs.size(); ++i) got[t].push_back(job(t, i)());
        });
    threads.clear();  // joins them
    for (int t = 0; t < kThreads; ++t)
        for (size_t i = 0; i < got[t].size(); ++i) ASSERT_EQ(got[t][i], job(t, i)()) << "thread " << t << ", run " << i;
}

// The status and line of `text` decoded as `root`, and the compact and
// pretty encodings of the tree.
std::string convert(const ErasedRoot &root, const std::string &text) {
    char line[1024] = "";
    void *tree = nullptr;
    const int32_t status = root.to(&tree, text.c_str(), line, sizeof line);
    std::string result = std::to_string(status) + " " + line;
    if (status == RMQC_OK)
        result.append("\n").append(encoded(root, tree, 0)).append("\n").append(encoded(root, tree, 1));
    root.release(tree);
    return result;
}

// Runs first in the process, so that the threads make the codec's very first
// conversions: state set up lazily on first use would show here. Every
// document is decoded as every root type, each thread starting at a
// different one.
TEST(Concurrency, DifferentDocumentsConvertAtOnceAsOnOneThread) {
    std::vector<Job> jobs;
    for (const Document &doc : documents())
        for (const ErasedRoot &root : root_types) jobs.push_back([&] { return convert(root, doc.text); });
    run_together(jobs, [&](int t) { return t * jobs.size() / kThreads; });
}

// Every thread walks the same trees in the same order, so that they read the
// same tree at the same moment; the last is read through the string
// conversion hook.
TEST(Concurrency, SharedTreesEncodedFromEveryThread) {
    std::vector<Job> jobs;
    for (const Document &doc : trees())
        for (int32_t pretty : {0, 1})
            jobs.push_back([&doc, pretty] { return encoded(*doc.root, doc.tree.get(), pretty); });
    ASSERT_EQ(jobs.back()().rfind("fault 203: <item_definition>.item_definitionValue", 0), 0u);
    run_together(jobs, [](int) { return 0; });
}

}  // namespace

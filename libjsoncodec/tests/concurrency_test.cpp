// Several threads converting at once through the exported functions. The
// library keeps no state between calls and only reads its one process-wide
// variable (the string conversion hook), so every conversion must give the
// same status, diagnostic line and text as it does on a single thread. The
// ThreadSanitizer build runs this test to catch any access that breaks that.
#include <gtest/gtest.h>
#include <jansson.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <latch>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "root_calls.h"

namespace {

constexpr int kThreads = 8;

// Everything one document gives decoded as one root type.
struct Outcome {
    int32_t status;
    std::string line;     // the diagnostic line, "" on success
    std::string compact;  // the encodings of the decoded tree, or the encoder's fault
    std::string pretty;
    bool operator==(const Outcome &) const = default;
};

std::string describe(const Outcome &o) {
    return "status " + std::to_string(o.status) + " line \"" + o.line + "\", compact " +
           std::to_string(o.compact.size()) + " bytes, pretty " + std::to_string(o.pretty.size()) + " bytes";
}

const ErasedRoot root_types[] = {JSONCODEC_ERASED_ROOT(data_protection_policy), JSONCODEC_ERASED_ROOT(workflow),
                                 JSONCODEC_ERASED_ROOT(action), JSONCODEC_ERASED_ROOT(rule),
                                 JSONCODEC_ERASED_ROOT(item_definition)};

// The JSON text of `tree`, or the status and diagnostic line of the fault.
std::string encode(const ErasedRoot &type, const void *tree, int32_t pretty) {
    char buf[2048] = "";
    char *json = nullptr;
    int32_t status = type.from(tree, &json, buf, sizeof buf, pretty);
    if (status != RMQC_OK) return "encoding fault " + std::to_string(status) + ": " + buf;
    std::string text = json;
    std::free(json);
    return text;
}

Outcome convert(const ErasedRoot &type, const std::string &text) {
    char buf[2048] = "";
    void *tree = nullptr;
    Outcome o{type.to(&tree, text.c_str(), buf, sizeof buf), buf, "", ""};
    if (o.status == RMQC_OK) {
        o.compact = encode(type, tree, 0);
        o.pretty = encode(type, tree, 1);
    }
    type.release(tree);
    return o;
}

// Wraps a tree, released with the last copy of the wrapper, as its encoder.
std::function<std::string(int32_t)> encoder_of(const ErasedRoot &type, void *tree) {
    std::shared_ptr<void> kept(tree, type.release);
    return [&type, kept](int32_t pretty) { return encode(type, kept.get(), pretty); };
}

// The encoder of `text` decoded once, or nothing when it is refused.
std::function<std::string(int32_t)> decode_once(const ErasedRoot &type, const std::string &text) {
    void *tree = nullptr;
    if (type.to(&tree, text.c_str(), nullptr, 0) != RMQC_OK) return {};
    return encoder_of(type, tree);
}

struct Document {
    std::string name;
    std::string text;
};

// Adds the workflows of a policy, the actions of a workflow and the items of
// a rule as documents of their own, so every root type has valid and
// refused documents of several shapes.
void add_parts(const std::string &name, json_t *value, std::vector<Document> &docs) {
    for (const char *list : {"policyWorkflows", "workflowActions", "ruleItem_Definitions"}) {
        size_t i;
        json_t *part;
        json_array_foreach(json_object_get(value, list), i, part) {
            std::string part_name = name + "/" + list + "[" + std::to_string(i) + "]";
            char *text = json_dumps(part, JSON_INDENT(2));
            docs.push_back({part_name, text});
            std::free(text);
            add_parts(part_name, part, docs);
        }
    }
}

// The example documents (faulty ones included), their parts, and the policy
// cut short so that its text does not parse. Read without calling the codec.
const std::vector<Document> &documents() {
    static const std::vector<Document> docs = [] {
        std::vector<Document> all;
        for (const auto &entry : std::filesystem::directory_iterator(JSONCODEC_EXAMPLES_DIR)) {
            if (entry.path().extension() != ".json") continue;
            std::ifstream in(entry.path(), std::ios::binary);
            std::ostringstream text;
            text << in.rdbuf();
            all.push_back({entry.path().filename().string(), text.str()});
        }
        std::sort(all.begin(), all.end(), [](const Document &a, const Document &b) { return a.name < b.name; });
        for (size_t i = 0, examples = all.size(); i < examples; i++) {
            const Document example = all[i];  // a copy: adding parts moves the elements
            json_t *value = json_loads(example.text.c_str(), 0, nullptr);
            add_parts(example.name, value, all);
            json_decref(value);
            if (example.name == "policy.json") all.push_back({"policy.json cut short", example.text.substr(0, 5000)});
        }
        return all;
    }();
    return docs;
}

// Counts the conversions under way, to show that they did overlap. Relaxed,
// so that the counter gives the sanitizer no ordering between the threads
// that could hide a race.
std::atomic<int> in_flight{0};
std::atomic<int> most_in_flight{0};
struct InFlight {
    InFlight() {
        int now = in_flight.fetch_add(1, std::memory_order_relaxed) + 1;
        int most = most_in_flight.load(std::memory_order_relaxed);
        while (now > most && !most_in_flight.compare_exchange_weak(most, now, std::memory_order_relaxed)) {
        }
    }
    ~InFlight() { in_flight.fetch_sub(1, std::memory_order_relaxed); }
};

// What one thread saw go wrong; checked in the main thread after the join.
struct Failures {
    size_t count = 0;
    std::string first;  // the first few, one per line
    void add(const std::string &what) {
        if (count++ < 5) first += what + "\n";
    }
};

// Runs body(thread index, its failures) on kThreads threads released at the
// same moment, and checks after they end that none of them failed.
void run_together(const std::function<void(int, Failures &)> &body) {
    most_in_flight = 0;
    std::vector<Failures> failures(kThreads);
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++)
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            body(t, failures[t]);
        });
    for (auto &thread : threads) thread.join();
    for (int t = 0; t < kThreads; t++)
        EXPECT_EQ(failures[t].count, 0u) << "thread " << t << ":\n" << failures[t].first;
    EXPECT_GE(most_in_flight.load(), 2) << "the conversions never overlapped";
}

struct Job {
    const Document *doc;
    const ErasedRoot *type;
    std::string name() const { return doc->name + " as " + type->name; }
};

// Runs first in the process, so that the threads make the codec's very first
// conversions: state set up lazily on first use would show here. The
// single-threaded results are taken after the join and compared with each
// thread's first round; every later round is compared with the first.
TEST(Concurrency, DifferentDocumentsConvertAtOnceAsOnOneThread) {
    std::vector<Job> jobs;
    for (const Document &doc : documents())
        for (const ErasedRoot &type : root_types) jobs.push_back({&doc, &type});
    ASSERT_GE(documents().size(), 9u);

    constexpr int kRounds = 10;
    std::vector<std::vector<Outcome>> first_round(kThreads, std::vector<Outcome>(jobs.size()));
    run_together([&](int t, Failures &failures) {
        const size_t begin = jobs.size() * t / kThreads;  // each thread at a different document
        for (int round = 0; round < kRounds; round++)
            for (size_t k = 0; k < jobs.size(); k++) {
                const size_t j = (begin + k) % jobs.size();
                const InFlight busy;
                Outcome got = convert(*jobs[j].type, jobs[j].doc->text);
                if (round == 0)
                    first_round[t][j] = std::move(got);
                else if (got != first_round[t][j])
                    failures.add("round " + std::to_string(round) + ", " + jobs[j].name() + ": " + describe(got) +
                                 ", first round " + describe(first_round[t][j]));
            }
    });

    size_t decoded = 0;
    for (size_t j = 0; j < jobs.size(); j++) {
        const Outcome alone = convert(*jobs[j].type, jobs[j].doc->text);
        decoded += alone.status == RMQC_OK;
        for (int t = 0; t < kThreads; t++)
            EXPECT_EQ(first_round[t][j], alone)
                << "thread " << t << ", " << jobs[j].name() << ": " << describe(first_round[t][j])
                << ", on one thread " << describe(alone);
    }
    // Valid and refused documents both took part.
    EXPECT_GE(decoded, 20u);
    EXPECT_GE(jobs.size() - decoded, 20u);
}

TEST(Concurrency, OneSharedTreeEncodedFromEveryThread) {
    struct Shared {
        std::string name;
        std::function<std::string(int32_t)> encode;
        std::string compact, pretty;
    };
    std::vector<Shared> trees;
    for (const Document &doc : documents())
        for (const ErasedRoot &type : root_types)
            if (auto encoder = decode_once(type, doc.text))
                trees.push_back({doc.name + " as " + type.name, encoder, encoder(0), encoder(1)});

    // A text that is not UTF-8 is passed through the conversion hook, which
    // every thread then reads; the JSON library still refuses the result.
    auto *odd = static_cast<item_definition *>(std::calloc(1, sizeof(item_definition)));
    odd->item_definitionValue = strdup("\xff");
    odd->item_definitionValue_present = 1;
    static const ErasedRoot item_root = JSONCODEC_ERASED_ROOT(item_definition);
    auto odd_encode = encoder_of(item_root, odd);
    trees.push_back({"item_definition not in UTF-8", odd_encode, odd_encode(0), odd_encode(1)});
    ASSERT_EQ(trees.back().compact.rfind("encoding fault 203: <item_definition>.item_definitionValue", 0), 0u)
        << trees.back().compact;

    // Every thread walks the trees in the same order, so that they read the
    // same tree at the same moment.
    constexpr int kRounds = 20;
    run_together([&](int, Failures &failures) {
        for (int round = 0; round < kRounds; round++)
            for (const Shared &tree : trees) {
                const InFlight busy;
                if (tree.encode(0) != tree.compact || tree.encode(1) != tree.pretty)
                    failures.add("round " + std::to_string(round) + ", " + tree.name + ": encodings differ");
            }
    });
}

}  // namespace

// Allocation failure at every point of a conversion.
//
// The test executable is linked with --wrap for the C runtime's allocation
// functions, so every malloc, calloc, realloc, strdup and free made by the
// library's objects (and by this file) goes through the counting wrappers
// below; jansson's allocations reach the same counter through its own
// allocator hook. For each document and direction the conversion is run
// once per k = 1, 2, ... with the k-th allocation refused, until a run
// completes without reaching k. Every run must end in a documented status
// with a line from the library's catalogue, leave the caller's output as
// the boundary promises, and leave no allocation alive after release.
#include <gtest/gtest.h>
#include <jansson.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <unordered_set>
#include <vector>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include "root_calls.h"

// ------------------------------------------------------ counting allocator

namespace {

struct Injector {
    bool armed = false;
    uint64_t count = 0;    // allocations asked for since arming
    uint64_t fail_at = 0;  // the allocation to refuse; 0 refuses none
    bool refused = false;  // whether that allocation was reached
    bool in_jansson = false;            // the allocation being made is jansson's
    bool refused_in_jansson = false;    // the refused one was jansson's
    // Blocks allocated while armed and not yet freed. The set allocates
    // through operator new, which these wrappers do not see.
    std::unordered_set<void *> live;

    void arm(uint64_t k) {
        armed = true;
        count = 0;
        fail_at = k;
        refused = false;
        refused_in_jansson = false;
        live.clear();
    }
    // Stops refusing but keeps tracking, so that releases are still seen.
    void stop_refusing() { fail_at = 0; }
    // Lets the test allocate for itself without being counted or tracked.
    void pause() { armed = false; }
    void resume() { armed = true; }
    void disarm() { armed = false; }

    bool refuse() {
        if (!armed) return false;
        ++count;
        if (count != fail_at) return false;
        refused = true;
        refused_in_jansson = in_jansson;
        return true;
    }
    void *note(void *p) {
        if (armed && p != nullptr) live.insert(p);
        return p;
    }
    void forget(void *p) {
        if (p != nullptr) live.erase(p);
    }
};

Injector injector;

}  // namespace

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t n, size_t size);
void *__real_realloc(void *p, size_t size);
char *__real_strdup(const char *s);
void __real_free(void *p);

void *__wrap_malloc(size_t size) { return injector.refuse() ? nullptr : injector.note(__real_malloc(size)); }

void *__wrap_calloc(size_t n, size_t size) {
    return injector.refuse() ? nullptr : injector.note(__real_calloc(n, size));
}

void *__wrap_realloc(void *p, size_t size) {
    if (injector.refuse()) return nullptr;
    void *moved = __real_realloc(p, size);
    if (moved != nullptr) injector.forget(p);
    return injector.note(moved);
}

char *__wrap_strdup(const char *s) {
    return injector.refuse() ? nullptr : static_cast<char *>(injector.note(__real_strdup(s)));
}

void __wrap_free(void *p) {
    injector.forget(p);
    __real_free(p);
}
}

namespace {

// jansson's allocator hook: the same counter, the same wrappers.
void *jansson_malloc(size_t size) {
    injector.in_jansson = true;
    void *p = __wrap_malloc(size);
    injector.in_jansson = false;
    return p;
}
void jansson_free(void *p) { __wrap_free(p); }

// ------------------------------------------------------------- root types

using Root = ErasedRoot;

#define ROOT(T) JSONCODEC_ERASED_ROOT(T)
const Root policy_root = ROOT(data_protection_policy);
const Root workflow_root = ROOT(workflow);
const Root action_root = ROOT(action);
const Root rule_root = ROOT(rule);
const Root item_root = ROOT(item_definition);
#undef ROOT

std::string example(const char *file) {
    std::ifstream in(std::string(JSONCODEC_EXAMPLES_DIR) + "/" + file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// ------------------------------------------------------------ the catalogue

// The path of a line: the root type in angle brackets, then properties with
// an optional index.
std::string path_of(const Root &root) { return "<" + std::string(root.name) + R"(>(\.\w+(\[\d*\])?)*)"; }

// The lines a decode may end with when an allocation fails. Inside a union
// trial the member fails and the next is tried, so the outcome there is the
// union's own "no match" line.
bool is_decode_oom_line(const Root &root, int32_t status, const std::string &line) {
    static const std::regex nomem(
        R"(: Out of memory when trying to convert C structure to JSON\. )"
        R"((Unable to create root object\.|Unable to allocate array\.|)"
        R"(Out of memory while attempting to allocate string\.|)"
        R"(Out of memory while attempting to allocate string item for array\.)$)");
    static const std::regex decode(
        R"(: JSON decode error\. (JSON parsing error: .* in .* line: -?\d+ col: -?\d+\n|)"
        R"(No match for union, closest failure: <\w+>[^\n]*)$)");
    std::smatch m;
    std::regex path(path_of(root));
    if (!std::regex_search(line, m, path, std::regex_constants::match_continuous)) return false;
    std::string rest = m.suffix();
    if (status == RMQC_ERR_NOMEM) return std::regex_match(rest, nomem);
    if (status == RMQC_ERR_DECODE) return std::regex_match(rest, decode);
    return false;
}

// Any decode fault: the path, the decode fragment and a detail.
bool is_decode_line(const Root &root, const std::string &line) {
    return std::regex_match(line, std::regex(path_of(root) + R"(: JSON decode error\. [^\n]+\n?)"));
}

// The lines an encode may end with when jansson runs out of memory.
bool is_encode_oom_line(const Root &root, int32_t status, const std::string &line) {
    static const std::regex encode(
        R"(: JSON encode error\. (Error generated by jansson library while parsing property '\w+' from object '\w+'\.|)"
        R"(Failed to create jansson array for property '\w+'\.|)"
        R"(Error generated by jansson library while parsing array item\.|)"
        R"(Error generated by jansson library while appending array item\.)$)");
    static const std::regex other(
        R"(: (Error generated by jansson library while creating object root for '\w+'\.|)"
        R"(Failure during json_dumps call)$)");
    std::smatch m;
    std::regex path(path_of(root));
    if (!std::regex_search(line, m, path, std::regex_constants::match_continuous)) return false;
    std::string rest = m.suffix();
    if (status == RMQC_ERR_ENCODE) return std::regex_match(rest, encode);
    if (status == RMQC_ERR_OTHER) return std::regex_match(rest, other);
    return false;
}

// ---------------------------------------------------------------- the runs

// Equality of two long texts, reported by the place where they part.
::testing::AssertionResult same_text(const std::string &actual, const std::string &expected) {
    if (actual == expected) return ::testing::AssertionSuccess();
    size_t at = 0;
    while (at < actual.size() && at < expected.size() && actual[at] == expected[at]) ++at;
    const size_t from = at > 40 ? at - 40 : 0;
    return ::testing::AssertionFailure() << "texts part at byte " << at << ":\n  got      ..."
                                         << actual.substr(from, 80) << "\n  expected ..." << expected.substr(from, 80);
}

// A sentinel the caller's output holds before a call; never dereferenced.
char sentinel_byte;
void *const sentinel = &sentinel_byte;

struct Outcome {
    int32_t status = 0;
    std::string line;
    std::string text;  // the encoding of the result (decode) or the result (encode)
};

std::string encode_unarmed(const Root &root, const void *tree) {
    char *json = nullptr;
    char line[1024];
    EXPECT_EQ(root.from(tree, &json, line, sizeof line, 0), RMQC_OK) << line;
    std::string text = json != nullptr ? json : "";
    std::free(json);
    return text;
}

Outcome decode_unarmed(const Root &root, const std::string &document) {
    Outcome outcome;
    char line[1024];
    void *tree = nullptr;
    outcome.status = root.to(&tree, document.c_str(), line, sizeof line);
    outcome.line = line;
    if (outcome.status == RMQC_OK) outcome.text = encode_unarmed(root, tree);
    root.release(tree);
    return outcome;
}

struct Tally {
    uint64_t points = 0;             // allocations refused in all
    uint64_t refusals_absorbed = 0;  // by a later union member, or a retry
    uint64_t parser_absorbed = 0;    // refusals inside jansson's parser that it did not report
    uint64_t parser_altered = 0;     // ... of which changed the document
    uint64_t parser_crashes = 0;     // ... that crashed jansson's parser itself
    uint64_t decode_faults = 0;  // runs a refusal ended with 202
    uint64_t nomem_faults = 0;   // ... with 204
    uint64_t encode_faults = 0;  // ... with 203
    uint64_t other_faults = 0;   // ... with 210
};

// What one run with a refused allocation came to, beyond its checks.
enum class Run : int {
    NotReached,      // the conversion completed before the allocation
    Absorbed,        // it succeeded all the same
    ParserAbsorbed,  // jansson's parser did not report the refusal
    ParserAltered,   // ... and the document changed
    Crashed,         // jansson's parser crashed
    DecodeFault,     // it ended in 202
    NomemFault,      // 204
    EncodeFault,     // 203
    OtherFault,      // 210
    Failed,          // a check failed
};

Run fault(int32_t status) {
    switch (status) {
        case RMQC_ERR_DECODE: return Run::DecodeFault;
        case RMQC_ERR_NOMEM: return Run::NomemFault;
        case RMQC_ERR_ENCODE: return Run::EncodeFault;
        case RMQC_ERR_OTHER: return Run::OtherFault;
        default: return Run::Failed;
    }
}

void count(Run run, Tally &tally) {
    ++tally.points;
    switch (run) {
        case Run::Absorbed: ++tally.refusals_absorbed; break;
        case Run::ParserAltered: ++tally.parser_altered; [[fallthrough]];
        case Run::ParserAbsorbed: ++tally.parser_absorbed; break;
        case Run::Crashed: ++tally.parser_crashes; break;
        case Run::DecodeFault: ++tally.decode_faults; break;
        case Run::NomemFault: ++tally.nomem_faults; break;
        case Run::EncodeFault: ++tally.encode_faults; break;
        case Run::OtherFault: ++tally.other_faults; break;
        default: break;
    }
}

// Decodes `document` once with allocation k refused and checks the outcome
// against the plain one.
Run decode_once(const Root &root, const std::string &document, uint64_t k, const Outcome &expected) {
    char line[1024];
    std::memset(line, 'x', sizeof line);
    void *tree = sentinel;
    injector.arm(k);
    const int32_t status = root.to(&tree, document.c_str(), line, sizeof line);
    injector.stop_refusing();
    const bool reached = injector.refused;
    std::string text;
    if (status == RMQC_OK && tree != nullptr && tree != sentinel) {
        injector.pause();
        text = encode_unarmed(root, tree);
        injector.resume();
        root.release(tree);  // tracked: every block of the tree must come back
    }
    const size_t alive = injector.live.size();
    injector.disarm();

    Run run = !reached ? Run::NotReached : status == RMQC_OK ? Run::Absorbed : fault(status);
    if (!reached) {
        // The conversion completed before allocation k: the plain result.
        EXPECT_EQ(status, expected.status);
        EXPECT_EQ(line, expected.line);
    } else if (injector.refused_in_jansson) {
        // jansson's parser ran out (the decoders allocate nothing from
        // jansson). It reports that as a parse failure, but it does not
        // check every write to its token buffer, so it can also hand back a
        // document with characters missing from a string; the library sees
        // only that document, and any honest outcome of it stands.
        if (status == RMQC_OK) {
            run = text == expected.text ? Run::ParserAbsorbed : Run::ParserAltered;
        } else {
            EXPECT_EQ(status, RMQC_ERR_DECODE);
            EXPECT_TRUE(is_decode_line(root, line)) << line;
        }
    } else if (status == RMQC_OK) {
        // The library's own allocation: refused inside a union trial, it is
        // absorbed when a later member matches, and the tree must be the same.
        run = Run::Absorbed;
        EXPECT_TRUE(same_text(text, expected.text));
    } else if (status != expected.status || line != expected.line) {
        EXPECT_TRUE(is_decode_oom_line(root, status, line)) << "status " << status << ": " << line;
    }
    if (status == RMQC_OK) {
        EXPECT_EQ(line[0], '\0');
        EXPECT_NE(tree, sentinel);
        EXPECT_NE(tree, nullptr);
    } else {
        // A parse failure leaves the caller's pointer alone; a decoder fault
        // sets it to NULL after releasing the partial tree.
        const bool parsed = std::strstr(line, "JSON parsing error: ") == nullptr;
        EXPECT_EQ(tree, parsed ? nullptr : sentinel);
    }
    EXPECT_EQ(alive, 0u) << "blocks left alive";
    return ::testing::Test::HasFailure() ? Run::Failed : run;
}

// Runs `body` in a child process and returns what it returned (0..99), or
// -1 when the child died: by a signal, or by a sanitizer's exit code. What
// the child writes to standard error goes to `errors` (rewound first).
template <class Body>
int in_child(std::FILE *errors, Body body) {
    constexpr int verdict = 100;
    std::fflush(nullptr);
    if (ftruncate(fileno(errors), 0) != 0) return -1;
    std::rewind(errors);
    const pid_t child = fork();
    if (child == 0) {
        dup2(fileno(errors), STDERR_FILENO);
        _exit(verdict + static_cast<int>(body()));
    }
    int wait_status = 0;
    if (child < 0 || waitpid(child, &wait_status, 0) != child) return -1;
    if (WIFEXITED(wait_status) && WEXITSTATUS(wait_status) >= verdict) return WEXITSTATUS(wait_status) - verdict;
    return -1;
}

std::string contents(std::FILE *file) {
    std::string text;
    std::rewind(file);
    char chunk[4096];
    for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, file)) > 0;) text.append(chunk, n);
    return text;
}

// The number of allocations jansson's parser makes for `document`.
uint64_t parser_allocations(const std::string &document) {
    json_error_t error;
    injector.arm(0);
    json_t *parsed = json_loads(document.c_str(), JSON_REJECT_DUPLICATES, &error);
    const uint64_t count = injector.count;
    injector.disarm();
    json_decref(parsed);
    return count;
}

// jansson's parser alone with allocation k refused, followed by heap work
// that trips the C runtime's consistency checks if the parser corrupted the
// heap: what the conversion does after parsing, without the library.
int parse_and_use_heap(const std::string &document, uint64_t k) {
    json_error_t error;
    injector.arm(k);
    json_t *parsed = json_loads(document.c_str(), JSON_REJECT_DUPLICATES, &error);
    injector.disarm();
    std::vector<void *> blocks;
    for (size_t size = 1; size <= 8192; size += size / 4 + 1) blocks.push_back(std::malloc(size));
    if (parsed != nullptr) std::free(json_dumps(parsed, JSON_COMPACT));
    json_decref(parsed);
    for (void *block : blocks) std::free(block);
    malloc_trim(0);
    return 0;
}

// Decodes `document` with each allocation refused in turn. Returns the
// number of allocations a complete conversion makes.
//
// jansson's parser does not survive every refusal: when the buffer of a
// string token cannot grow, it loses the write and later reads and writes
// past the token's copy. A refusal that lands in the parser is therefore
// tried in a child process; when the child dies, bare json_loads is tried
// the same way, and a crash of jansson's own is counted, not charged to
// the library.
uint64_t decode_with_failures(const Root &root, const std::string &document, Tally &tally) {
    SCOPED_TRACE(std::string(root.name) + " decode of " + document.substr(0, 60));
    const Outcome expected = decode_unarmed(root, document);
    const uint64_t parser = parser_allocations(document);
    std::FILE *errors = std::tmpfile();
    for (uint64_t k = 1;; ++k) {
        SCOPED_TRACE("allocation " + std::to_string(k) + " refused");
        Run run;
        if (k <= parser) {
            const int code = in_child(errors, [&] { return decode_once(root, document, k, expected); });
            if (code < 0) {
                const std::string report = contents(errors);
                const int bare = in_child(errors, [&] { return parse_and_use_heap(document, k); });
                EXPECT_LT(bare, 0) << "the conversion died where jansson's parser alone survives:\n" << report;
                run = Run::Crashed;
            } else {
                run = static_cast<Run>(code);
            }
        } else {
            run = decode_once(root, document, k, expected);
        }
        EXPECT_NE(run, Run::Failed) << contents(errors);
        if (::testing::Test::HasFailure() || run == Run::NotReached) {
            std::fclose(errors);
            return run == Run::NotReached ? k - 1 : k;
        }
        count(run, tally);
    }
}

// Encodes `tree` compact and pretty with each allocation refused in turn.
uint64_t encode_with_failures(const Root &root, const void *tree, Tally &tally) {
    uint64_t allocations = 0;
    for (int32_t pretty = 0; pretty <= 1; ++pretty) {
        SCOPED_TRACE(std::string(root.name) + (pretty ? " pretty" : " compact") + " encode");
        char line[1024];
        char *reference = nullptr;
        const int32_t expected_status = root.from(tree, &reference, line, sizeof line, pretty);
        const std::string expected_line = line;
        const std::string expected_text = reference != nullptr ? reference : "";
        std::free(reference);

        for (uint64_t k = 1;; ++k) {
            SCOPED_TRACE("allocation " + std::to_string(k) + " refused");
            char *json = static_cast<char *>(sentinel);
            std::memset(line, 'x', sizeof line);
            injector.arm(k);
            const int32_t status = root.from(tree, &json, line, sizeof line, pretty);
            injector.stop_refusing();
            const bool reached = injector.refused;
            std::string text = "(none)";
            if (status == RMQC_OK && json != nullptr && json != sentinel) {
                text = json;
                std::free(json);  // tracked: jansson allocated it
            }
            const size_t alive = injector.live.size();
            injector.disarm();

            if (status == RMQC_OK) {
                // A string jansson refused for want of memory is offered to
                // it once more through the conversion hook, so a refusal can
                // be absorbed; the text must be exactly the plain one.
                EXPECT_EQ(expected_status, RMQC_OK);
                EXPECT_EQ(line[0], '\0');
                EXPECT_TRUE(same_text(text, expected_text));
            } else if (!reached || (status == expected_status && line == expected_line)) {
                EXPECT_EQ(status, expected_status);
                EXPECT_EQ(line, expected_line);
                EXPECT_EQ(json, sentinel);
            } else {
                EXPECT_TRUE(is_encode_oom_line(root, status, line)) << "status " << status << ": " << line;
                // Only a failed serialisation writes the caller's pointer.
                const bool dumps = std::strstr(line, "Failure during json_dumps call") != nullptr;
                EXPECT_EQ(json, dumps ? nullptr : sentinel);
            }
            EXPECT_EQ(alive, 0u) << "blocks left alive";
            if (::testing::Test::HasFailure()) return allocations + k;
            if (!reached) {
                allocations += k - 1;
                break;
            }
            count(status == RMQC_OK ? Run::Absorbed : fault(status), tally);
        }
    }
    return allocations;
}

class AllocationFailure : public ::testing::Test {
protected:
    static void SetUpTestSuite() { json_set_alloc_funcs(jansson_malloc, jansson_free); }
    static void TearDownTestSuite() { json_set_alloc_funcs(malloc, free); }
    static void report(const char *what, const Tally &tally) {
        auto n = [](uint64_t v) { return static_cast<unsigned long long>(v); };
        std::printf("%s: %llu allocations refused, one per run. Ended in 202: %llu, 203: %llu, 204: %llu, "
                    "210: %llu; succeeded all the same (a later union member, a retried string): %llu; "
                    "refusals jansson's parser did not report: %llu, of which changed the document: %llu; "
                    "crashes of jansson's parser: %llu\n",
                    what, n(tally.points), n(tally.decode_faults), n(tally.encode_faults), n(tally.nomem_faults),
                    n(tally.other_faults), n(tally.refusals_absorbed), n(tally.parser_absorbed),
                    n(tally.parser_altered), n(tally.parser_crashes));
    }
};

// The wrappers really stand between the library and the heap: a document
// that needs allocations fails at the first one, in both directions.
TEST_F(AllocationFailure, WrappersSeeTheLibraryAndJansson) {
    const std::string text = example("rule.json");
    rule *tree = nullptr;
    char line[1024];
    injector.arm(1);
    EXPECT_EQ(rmqc_json_to_rule(&tree, text.c_str(), line, sizeof line), RMQC_ERR_DECODE);  // jansson's parser
    injector.disarm();
    ASSERT_EQ(rmqc_json_to_rule(&tree, text.c_str(), line, sizeof line), RMQC_OK);

    char *json = nullptr;
    injector.arm(1);
    EXPECT_EQ(rmqc_json_from_rule(tree, &json, line, sizeof line, 0), RMQC_ERR_OTHER);  // the root object
    injector.disarm();
    EXPECT_STREQ(line, "<rule>: Error generated by jansson library while creating object root for 'rule'.");
    rmqc_free_rule(tree);
}

const char empty_arrays_action[] = R"({
    "actionName": "probe-empty",
    "actionSpecific": {"actions": {"actionType": "exercise", "exerciseFunction": "generate", "exerciseDelay": []}},
    "actionSchedulePeriod": "week",
    "actionScheduleActivity": []
})";

// A rule with more items than a JSON array holds before it must grow.
std::string long_rule() {
    std::string text = R"({"ruleName":"many","ruleItem_Definitions":[)";
    for (int i = 0; i < 12; ++i) text += (i != 0 ? "," : "") + std::string(R"({"item_definitionValue":"v)") + std::to_string(i) + "\"}";
    return text + "]}";
}

TEST_F(AllocationFailure, EveryDecodingAllocation) {
    const std::string policy = example("policy.json");
    // The first workflow of the policy, as a document of its own.
    std::string workflow_text;
    {
        data_protection_policy *tree = nullptr;
        ASSERT_EQ(rmqc_json_to_data_protection_policy(&tree, policy.c_str(), nullptr, 0), RMQC_OK);
        workflow_text = encode_unarmed(workflow_root, tree->policyWorkflows);
        rmqc_free_data_protection_policy(tree);
    }
    const struct {
        const Root &root;
        std::string text;
    } corpus[] = {
        {policy_root, policy},
        {policy_root, example("policy-faulty-subtype.json")},
        {policy_root, example("policy-faulty-kind.json")},
        {policy_root, policy.substr(0, policy.size() / 2)},  // text that does not parse
        {workflow_root, workflow_text},
        {workflow_root, example("workflow-faulty-discover.json")},
        {action_root, example("action.json")},
        {action_root, empty_arrays_action},
        {rule_root, example("rule.json")},
        {rule_root, example("rule-faulty.json")},
        {rule_root, long_rule()},
        {item_root, example("item_definition.json")},
    };
    Tally tally;
    for (const auto &entry : corpus) {
        ASSERT_FALSE(entry.text.empty());
        uint64_t allocations = decode_with_failures(entry.root, entry.text, tally);
        ASSERT_FALSE(HasFailure());
        EXPECT_GT(allocations, 0u);
    }
    report("decode", tally);
    // Both kinds of decode fault occurred: the library's own (204, or 202
    // from a union) and the parser's (202).
    EXPECT_GT(tally.nomem_faults, 0u);
    EXPECT_GT(tally.decode_faults, 0u);
}

TEST_F(AllocationFailure, EveryEncodingAllocation) {
    Tally tally;
    const struct {
        const Root &root;
        std::string text;
    } corpus[] = {
        {policy_root, example("policy.json")},
        {action_root, example("action.json")},
        {action_root, empty_arrays_action},
        {rule_root, example("rule.json")},
        {rule_root, long_rule()},
        {item_root, example("item_definition.json")},
    };
    for (const auto &entry : corpus) {
        void *tree = nullptr;
        ASSERT_EQ(entry.root.to(&tree, entry.text.c_str(), nullptr, 0), RMQC_OK);
        encode_with_failures(entry.root, tree, tally);
        entry.root.release(tree);
        ASSERT_FALSE(HasFailure());
    }

    // Faults the encoder finds late, after most of the text was built: a
    // union tag out of range in the last action, and a workflow on its own.
    data_protection_policy *policy = nullptr;
    ASSERT_EQ(rmqc_json_to_data_protection_policy(&policy, example("policy.json").c_str(), nullptr, 0), RMQC_OK);
    encode_with_failures(workflow_root, policy->policyWorkflows, tally);
    workflow *last_workflow = policy->policyWorkflows;
    while (last_workflow->next != nullptr) last_workflow = last_workflow->next;
    action *last_action = last_workflow->workflowActions;
    while (last_action->next != nullptr) last_action = last_action->next;
    const uint8_t tag = last_action->actionSpecific.actions_type;
    last_action->actionSpecific.actions_type = 16;
    encode_with_failures(policy_root, policy, tally);
    last_action->actionSpecific.actions_type = tag;
    rmqc_free_data_protection_policy(policy);
    report("encode", tally);
    EXPECT_GT(tally.encode_faults, 0u);
    EXPECT_GT(tally.other_faults, 0u);
}

}  // namespace

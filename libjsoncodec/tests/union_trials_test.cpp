// The two ways of trying union members must be indistinguishable: the
// literal order (every member decoded in turn, every failure formatted) and
// the fast one (members whose discriminator names another member passed
// over, texts made only when reported). For a few thousand documents, valid
// and faulty, of every action kind and backup subtype, both must give the
// same status, match count, diagnostic line (in buffers of several sizes)
// and tree; and the same again with each allocation of the decode refused
// in turn.
#include <gtest/gtest.h>
#include <jansson.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "action_schema.h"
#include "codec.h"
#include "heap_injector.h"
#include "policy_schema.h"

namespace {

using jsoncodec::path_node;
using jsoncodec::root_node;
using jsoncodec::TypeDesc;
using jsoncodec::UnionTrials;

// Everything a decode shows.
struct Observed {
    int32_t status = 0;
    uint32_t matches = 0;
    std::string line;
    std::string tree;  // the tree encoded, "" when there is none
    bool refused = false;
    bool operator==(const Observed &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Observed &o) {
    return out << "status " << o.status << ", " << o.matches << " matches, line \"" << o.line << "\", tree "
               << o.tree.size() << " bytes" << (o.refused ? ", allocation refused" : "");
}

std::string encoded(const TypeDesc &type, const void *tree) {
    path_node root = root_node(type.name);
    json_t *value = nullptr;
    std::string text;
    if (jsoncodec::encode_record(type, &value, tree, 0, nullptr, 0, &root) == RMQC_OK) {
        char *dumped = json_dumps(value, JSON_COMPACT | JSON_PRESERVE_ORDER);
        text = dumped != nullptr ? dumped : "(not serialised)";
        std::free(dumped);
    } else {
        text = "(not encodable)";
    }
    json_decref(value);
    return text;
}

// Decodes `value` as `type` from the root, with allocation `refuse` (0:
// none) refused, and a buffer of `errlen` bytes.
Observed decode(const TypeDesc &type, const json_t *value, UnionTrials trials, uint64_t errlen, uint64_t refuse) {
    Observed o;
    std::vector<char> buf(errlen + 1, 'x');
    buf[0] = '\0';  // as the exports do: the empty line unless a fault is reported
    path_node root = root_node(type.name);
    void *tree = nullptr;
    injector.arm(refuse);
    o.status = jsoncodec::decode_record(type, value, &tree, nullptr, 0, buf.data(), errlen, &root, &o.matches, trials);
    injector.disarm();
    o.refused = injector.refused;
    if (errlen != 0) o.line = buf.data();
    if (tree != nullptr) {
        if (o.status == RMQC_OK) o.tree = encoded(type, tree);
        jsoncodec::release_record(type, tree);
        std::free(tree);
    }
    return o;
}

std::string example(const char *file) {
    std::ifstream in(std::string(JSONCODEC_EXAMPLES_DIR) + "/" + file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Owned JSON values.
struct Json {
    json_t *value;
    explicit Json(json_t *v) : value(v) {}
    Json(const Json &other) : value(json_incref(other.value)) {}
    Json &operator=(const Json &) = delete;
    ~Json() { json_decref(value); }
};

const char *const kind_names[] = {"backup", "probe", "execute", "clone", "discover", "check connectivity",
                                  "generate index", "backup index", "expire", "server backup", "autostage",
                                  "recover space", "exercise", "WEX checkpoint discover", "WEX checkpoint backup"};
const char *const subtype_names[] = {"traditional", "snapshot", "archive", "vmware", "vmware-kestrel"};

// Variants of one object property by property: each removed, each given a
// value of the wrong type, each null, and the discriminator `key` set to each of
// `names`, to a text no member has, to a number and removed.
void vary(json_t *object, const char *key, const char *const *names, size_t name_count,
          const std::function<void()> &record) {
    std::vector<std::string> keys;
    const char *k;
    json_t *v;
    json_object_foreach(object, k, v) keys.push_back(k);
    for (const std::string &name : keys) {
        Json saved(json_incref(json_object_get(object, name.c_str())));
        json_object_del(object, name.c_str());
        record();
        json_object_set_new(object, name.c_str(), json_is_string(saved.value) ? json_integer(7) : json_string("7"));
        record();
        json_object_set_new(object, name.c_str(), json_null());
        record();
        json_object_set(object, name.c_str(), saved.value);
    }
    Json saved(json_incref(json_object_get(object, key)));
    for (size_t i = 0; i < name_count; ++i) {
        json_object_set_new(object, key, json_string(names[i]));
        record();
    }
    json_object_set_new(object, key, json_string("replicate"));
    record();
    json_object_set(object, key, saved.value);
}

struct Case {
    const TypeDesc *type;
    Json value;
};

// Every action of the example policy on its own, and its variants: the
// kind's properties and the subtype's properties varied as above.
std::vector<Case> corpus() {
    std::vector<Case> cases;
    json_error_t error;
    Json policy(json_loads(example("policy.json").c_str(), 0, &error));
    for (const char *faulty : {"policy.json", "policy-faulty-subtype.json", "policy-faulty-kind.json"})
        cases.push_back({&jsoncodec::data_protection_policy_desc, Json(json_loads(example(faulty).c_str(), 0, &error))});
    cases.push_back({&jsoncodec::workflow_desc,
                     Json(json_loads(example("workflow-faulty-discover.json").c_str(), 0, &error))});

    size_t w, a;
    json_t *workflow, *action;
    json_array_foreach(json_object_get(policy.value, "policyWorkflows"), w, workflow) {
        json_array_foreach(json_object_get(workflow, "workflowActions"), a, action) {
            auto record = [&] { cases.push_back({&jsoncodec::action_desc, Json(json_deep_copy(action))}); };
            record();
            json_t *kind = json_object_get(json_object_get(action, "actionSpecific"), "actions");
            vary(kind, "actionType", kind_names, std::size(kind_names), record);
            json_t *subtype = json_object_get(json_object_get(kind, "actionBackupSubtypeSpecific"), "backupSubtypes");
            if (subtype != nullptr) vary(subtype, "abBackupSubtype", subtype_names, std::size(subtype_names), record);
        }
    }
    // Unions given something that is no object at all.
    cases.push_back({&jsoncodec::action_desc,
                     Json(json_loads(R"({"actionName":"a","actionSpecific":{"actions":5}})", 0, &error))});
    cases.push_back({&jsoncodec::action_desc,
                     Json(json_loads(R"({"actionName":"a","actionSpecific":{"actions":null}})", 0, &error))});
    return cases;
}

TEST(UnionTrials, FastAndLiteralAreIndistinguishable) {
    const std::vector<Case> cases = corpus();
    size_t valid = 0;
    for (size_t i = 0; i < cases.size(); ++i) {
        const Case &c = cases[i];
        SCOPED_TRACE("case " + std::to_string(i) + ", " + c.type->name);
        for (uint64_t errlen : {1024, 300, 80, 1, 0}) {
            const Observed literal = decode(*c.type, c.value.value, UnionTrials::Literal, errlen, 0);
            EXPECT_EQ(decode(*c.type, c.value.value, UnionTrials::Fast, errlen, 0), literal) << "errlen " << errlen;
            valid += errlen == 0 && literal.status == RMQC_OK;
        }
        if (HasFailure()) return;
    }
    // Both kinds of document took part in numbers.
    EXPECT_GE(valid, 250u);
    EXPECT_GE(cases.size() - valid, 400u);
    std::printf("%zu documents, %zu of them valid, each decoded with 5 buffer sizes\n", cases.size(), valid);
}

TEST(UnionTrials, FastAndLiteralAreIndistinguishableWhenAllocationsFail) {
    route_jansson_through_injector();
    const std::vector<Case> cases = corpus();
    uint64_t points = 0;
    for (size_t i = 0; i < cases.size(); ++i) {
        const Case &c = cases[i];
        for (uint64_t k = 1;; ++k) {
            const Observed literal = decode(*c.type, c.value.value, UnionTrials::Literal, 1024, k);
            ASSERT_EQ(decode(*c.type, c.value.value, UnionTrials::Fast, 1024, k), literal)
                << "case " << i << ", allocation " << k << " refused";
            if (!literal.refused) break;
            ++points;
        }
    }
    json_set_alloc_funcs(malloc, free);
    EXPECT_GE(points, 5000u);
    std::printf("%llu allocations refused, each in both ways\n", static_cast<unsigned long long>(points));
}

}  // namespace

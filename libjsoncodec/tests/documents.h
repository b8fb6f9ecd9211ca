// The documents the allocation-refusal, union-trial and concurrency tests
// convert, declared once: the example documents with their root types, a
// few made from them, and the trees they decode to.
#pragma once

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "root_calls.h"
#include "root_types.h"

#define JSONCODEC_ERASED_ROOT_ENTRY(T, name_property, short_name) JSONCODEC_ERASED_ROOT(T),
inline const ErasedRoot root_types[] = {JSONCODEC_ROOT_TYPES(JSONCODEC_ERASED_ROOT_ENTRY)};
#undef JSONCODEC_ERASED_ROOT_ENTRY
// How the name of an example file starts, for each of root_types.
#define JSONCODEC_SHORT_NAME(T, name_property, short_name) short_name,
inline const char *const file_prefixes[] = {JSONCODEC_ROOT_TYPES(JSONCODEC_SHORT_NAME)};
#undef JSONCODEC_SHORT_NAME

// A document, and in trees() the tree it decodes to as its root type (a
// tree only a program builds has no text).
struct Document {
    std::string name;
    const ErasedRoot *root;
    std::string text;
    std::shared_ptr<void> tree;
};

inline std::string example(const std::string &file) {
    std::ifstream in(std::filesystem::path(JSONCODEC_EXAMPLES_DIR) / file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// The compact or pretty text of `tree`, or the status and line of the fault.
inline std::string encoded(const ErasedRoot &root, const void *tree, int32_t pretty) {
    char line[1024] = "";
    char *json = nullptr;
    const int32_t status = root.from(tree, &json, line, sizeof line, pretty);
    if (status != RMQC_OK) return "fault " + std::to_string(status) + ": " + line;
    std::string text = json;
    std::free(json);
    return text;
}

// The examples (faulty ones included) and: the policy cut short so that it
// does not parse, an action with empty arrays, an action whose kind lacks
// the property that tells the kinds apart, and a rule with more items than
// a JSON array holds before it grows.
inline const std::vector<Document> &documents() {
    static const std::vector<Document> all = [] {
        std::vector<Document> docs;
        for (const auto &entry : std::filesystem::directory_iterator(JSONCODEC_EXAMPLES_DIR))
            for (size_t r = 0; r < std::size(root_types); ++r)
                if (entry.path().extension() == ".json" &&
                    entry.path().filename().string().starts_with(file_prefixes[r]))
                    docs.push_back({entry.path().filename(), &root_types[r], example(entry.path().filename()), {}});
        const std::string policy = example("policy.json");
        docs.push_back({"policy cut short", &root_types[0], policy.substr(0, policy.size() / 2), {}});
        docs.push_back({"action with empty arrays",
                        &root_types[2],
                        R"({"actionName":"probe-empty","actionSchedulePeriod":"week","actionScheduleActivity":[],)"
                        R"("actionSpecific":{"actions":{"actionType":"exercise","exerciseFunction":"generate",)"
                        R"("exerciseDelay":[]}}})",
                        {}});
        docs.push_back({"action whose kind has no type",
                        &root_types[2],
                        R"({"actionName":"untyped","actionSchedulePeriod":"week","actionScheduleActivity":[],)"
                        R"("actionSpecific":{"actions":{"exerciseFunction":"generate"}}})",
                        {}});
        docs.push_back({"rule with a long unknown key",
                        &root_types[3],
                        R"({"ruleName":"long",")" + std::string(300, 'k') + R"(":1})",
                        {}});
        std::string items;
        for (int i = 0; i < 12; ++i) items += R"(,{"item_definitionValue":"v)" + std::to_string(i) + "\"}";
        docs.push_back({"rule with twelve items",
                        &root_types[3],
                        R"({"ruleName":"many","ruleItem_Definitions":[)" + items.substr(1) + "]}",
                        {}});
        return docs;
    }();
    return all;
}

// Every document that decodes, with its tree, and two trees only a program
// builds: an action whose kind tag is out of range, and an item whose value
// is not UTF-8, which passes through the string conversion hook and is
// refused all the same.
inline const std::vector<Document> &trees() {
    static const std::vector<Document> all = [] {
        std::vector<Document> docs;
        for (const Document &doc : documents()) {
            void *tree = nullptr;
            if (doc.root->to(&tree, doc.text.c_str(), nullptr, 0) == RMQC_OK)
                docs.push_back({doc.name, doc.root, doc.text, {tree, doc.root->release}});
        }
        // Out of range, the tag releases nothing of the kind's storage, which holds nothing.
        auto *untagged = static_cast<action *>(std::calloc(1, sizeof(action)));
        untagged->actionName = strdup("untagged");
        untagged->actionSpecific.actions_type = 16;
        docs.push_back({"action with a kind tag out of range", &root_types[2], "", {untagged, root_types[2].release}});
        auto *odd = static_cast<item_definition *>(std::calloc(1, sizeof(item_definition)));
        odd->item_definitionValue = strdup("\xff");
        odd->item_definitionValue_present = 1;
        docs.push_back({"item not in UTF-8", &root_types[4], "", {odd, root_types[4].release}});
        return docs;
    }();
    return all;
}

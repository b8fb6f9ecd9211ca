// The two ways of trying union members must be indistinguishable: the
// literal one (every member decoded in turn, every failure formatted) and
// the fast one (members whose discriminator names another member passed
// over, texts made only when reported). Both must give the same status,
// match count, diagnostic line (in buffers of several sizes) and tree, the
// union tags included, and the same again with each allocation refused.
#include <gtest/gtest.h>

#include "codec.h"
#include "documents.h"
#include "heap_injector.h"
#include "root_tables.h"

namespace {

using jsoncodec::TypeDesc;
using jsoncodec::UnionTrials;

// Everything a decode of `value` as the document's root type shows, with
// allocation k (0: none) refused and a buffer of `errlen` bytes.
std::string decode(const Document &doc, const json_t *value, UnionTrials trials, uint64_t errlen, uint64_t k) {
    const TypeDesc *type = &table_of(*doc.root);
    std::string line(errlen + 1, 'x');
    line[0] = '\0';  // as the exports do: the empty line unless a fault is reported
    jsoncodec::path_node root = jsoncodec::root_node(type->name);
    void *tree = nullptr;
    uint32_t matches = 0;
    injector.arm(k);
    const int32_t status =
        decode_record(*type, value, &tree, nullptr, 0, line.data(), errlen, &root, &matches, {.trials = trials});
    injector.disarm();
    std::string seen = std::to_string(status) + ", " + std::to_string(matches) + " matches: " + line.c_str();
    if (status == RMQC_OK) seen.append("\n").append(encoded(*doc.root, tree, 0));
    doc.root->release(tree);
    return seen;
}

TEST(UnionTrials, FastAndLiteralAreIndistinguishable) {
    for (const Document &doc : documents()) {
        SCOPED_TRACE(doc.name);
        const std::unique_ptr<json_t, void (*)(json_t *)> value(json_loads(doc.text.c_str(), 0, nullptr), json_decref);
        if (value == nullptr) continue;  // the text that does not parse
        for (uint64_t k = 0;; ++k) {
            bool refused = false;
            for (uint64_t errlen : {1024, 60, 0}) {
                const std::string literal = decode(doc, value.get(), UnionTrials::Literal, errlen, k);
                refused = injector.refused;
                ASSERT_EQ(decode(doc, value.get(), UnionTrials::Fast, errlen, k), literal)
                    << errlen << " bytes for the line, allocation " << k << " refused";
            }
            if (k > 0 && !refused) break;
        }
    }
}

}  // namespace

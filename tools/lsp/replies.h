// What the server answers about a document: its diagnostics, their fixes,
// completion, hover, formatting and outline, each as the protocol's JSON
// (jansson values the caller owns).
#pragma once

#include <jansson.h>

#include <cstddef>
#include <string>
#include <vector>

#include "documents.h"
#include "schema_map.h"
#include "tree.h"

namespace tool::lsp {

// What the client said it can take.
struct Client {
    Encoding encoding = Encoding::utf16;
    bool snippets = false;
    bool markdown = false;
};

// One change of a fix: the bytes [begin, end) become `text`. Insertions at
// one place are joined by `separator`.
struct Edit {
    size_t begin = 0, end = 0;
    std::string text;
    std::string separator;
};

struct Fix {
    std::string title;
    bool preferred = false;
    std::vector<Edit> edits;
};

// The fixes of a finding of `document` (as last checked), the preferred
// first, from `tree`, the text read whole or with the finding's place as
// its focus.
std::vector<Fix> fixes_for(const Document &document, const Fault &fault, const Node &tree);

// The edits of several fixes as one change of the text: sorted, each place
// changed once (an edit that overlaps one before it is left out), and
// insertions at one place joined.
std::vector<Edit> merged(std::vector<Edit> edits);

// A JSON string of `text`, its invalid UTF-8 replaced.
json_t *json_text(std::string_view text);

json_t *diagnostics_json(Document &document, const Client &client);
json_t *code_actions_json(Document &document, const Client &client, size_t begin, size_t end, bool quick_fixes,
                          bool fix_all);
json_t *completion_json(const Document &document, const Client &client, size_t offset);
json_t *hover_json(const Document &document, const Client &client, size_t offset);
// The edits that give the document its canonical text; nullptr when it
// cannot be formatted, `refusal` saying why.
json_t *formatting_json(const Document &document, const Client &client, std::string &refusal);
json_t *symbols_json(const Document &document, const Client &client);

}  // namespace tool::lsp

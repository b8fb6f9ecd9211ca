// Which record type and property a place in a document stands for, from
// the library's record tables: the root type's table, followed key by key
// down the document's objects, a union's member told by its discriminator
// in the object that holds it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "codec.h"
#include "tree.h"

namespace tool::lsp {

using jsoncodec::FieldDesc;
using jsoncodec::TypeDesc;
using jsoncodec::UnionDesc;

// The record an object stands for.
struct RecordAt {
    const TypeDesc *type = nullptr;      // nullptr: not told
    const UnionDesc *choices = nullptr;  // the object is a union's value; `type` is its member, if told
};

// Where a cursor stands in a document.
struct Cursor {
    enum class Where { nowhere, key, value };
    Where where = Where::nowhere;
    const Node *object = nullptr;    // the object whose key or member's value it is at
    const Member *member = nullptr;  // whose key or value; nullptr at a key not yet begun
    RecordAt record;                 // the record `object` stands for
    size_t begin = 0, end = 0;       // the token it is in, or the cursor alone
};

// The table of a root type by its name; nullptr for none.
const TypeDesc *root_desc(std::string_view name);
// The root type a document's top-level object's keys name, as the tool
// tells it: a name property at once, else the most properties; nullptr.
const TypeDesc *guess_root(const Node &root);

const FieldDesc *find_field(const TypeDesc &type, std::string_view name);
// The discriminator the members of a union share (the first member's).
const FieldDesc *union_discriminator(const UnionDesc &members);
// The record of the object `child`, the value (or an element of the value)
// of `field`.
RecordAt record_of(const FieldDesc *field, const Node &child);

// Where `offset` stands in the document read as `root` (read with `offset`
// as its focus, or whole) of root type `type`.
Cursor locate(const Node &root, const TypeDesc *type, size_t offset);

// The names of `candidates` close to `text`, nearest first (among equals,
// in the order given): those within a few edits, a difference of case
// alone counting as one. At most `most`.
std::vector<std::string_view> rank_names(std::string_view text, const std::vector<std::string_view> &candidates,
                                         size_t most);

// A property's kind in words: "string", "enum", "boolean", "integer",
// "array of strings", "record policyNotification", ...
std::string kind_words(const FieldDesc &field);

}  // namespace tool::lsp

// Writes the JSON Schemas (draft 2020-12) of the five root types, made from
// the record tables the library decodes with, as a C source that the
// jsoncodec tool compiles in (see schemas.h):
//
//   jsoncodec_make_schemas OUTPUT.c
//
// One schema per root type. Every record type the root reaches is one entry
// of "$defs", named as the table names it; nested records, lists and union
// members refer to their entries with "$ref". A record lists all of its
// properties, and "required" the required ones in record order. Properties
// the tables do not know are left open, because the decoder ignores them;
// the strict schema of each type (`jsoncodec schema --strict`) closes every
// record with "additionalProperties": false, as `check --strict` refuses
// them.
// The output depends on the tables only, so it changes when the schema does.
#include <jansson.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "action_schema.h"
#include "backup_schema.h"
#include "policy_schema.h"
#include "root_types.h"
#include "rule_schema.h"

namespace {

using jsoncodec::discriminator;
using jsoncodec::EnumDesc;
using jsoncodec::FieldDesc;
using jsoncodec::Kind;
using jsoncodec::TypeDesc;
using jsoncodec::UnionDesc;

[[noreturn]] void out_of_memory() {
    std::fputs("jsoncodec_make_schemas: out of memory\n", stderr);
    std::exit(1);
}

// Sets object[key] = value, taking over the reference to value. jansson
// makes a value NULL only when memory runs out, and fails to set a NULL
// value or one in a NULL object: one check covers the value, the object and
// the setting.
void put(json_t *object, const char *key, json_t *value) {
    if (json_object_set_new(object, key, value) != 0) out_of_memory();
}

void append(json_t *array, json_t *value) {
    if (json_array_append_new(array, value) != 0) out_of_memory();
}

json_t *reference_to(const TypeDesc &type) {
    json_t *ref = json_object();
    put(ref, "$ref", json_string(("#/$defs/" + std::string(type.name)).c_str()));
    return ref;
}

// An integer property takes what the decoder stores in an int64_t; the JSON
// parser refuses any integer outside that range.
json_t *integer_schema() {
    json_t *schema = json_object();
    put(schema, "type", json_string("integer"));
    put(schema, "minimum", json_integer(INT64_MIN));
    put(schema, "maximum", json_integer(INT64_MAX));
    return schema;
}

// Arrays and lists are refused above MAX_ARRAY_SZ elements.
json_t *array_of(json_t *items) {
    json_t *schema = json_object();
    put(schema, "type", json_string("array"));
    put(schema, "items", items);
    put(schema, "maxItems", json_integer(static_cast<json_int_t>(jsoncodec::MAX_ARRAY_SZ)));
    return schema;
}

// The decoder keeps the first member that decodes. Every union of the
// tables is tagged: each member has a discriminator of the same name whose
// texts no other member allows, so at most one member accepts a value, and
// the schema says oneOf (schema_test.py holds the schemas to what check
// accepts).
json_t *union_schema(const UnionDesc &members) {
    json_t *schema = json_object();
    std::string description = "Exactly one of the members ";
    json_t *choices = json_array();
    for (uint32_t k = 0; k < members.count; ++k) {
        description += (k > 0 ? ", " : "") + std::string(members.types[k]->name);
        append(choices, reference_to(*members.types[k]));
    }
    description +=
        "; the member is chosen by its discriminator '" + std::string(discriminator(*members.types[0])->name) + "'.";
    put(schema, "description", json_string(description.c_str()));
    put(schema, "oneOf", choices);
    return schema;
}

json_t *property_schema(const FieldDesc &field) {
    json_t *schema = nullptr;
    switch (field.kind) {
        case Kind::String:
            schema = json_object();
            put(schema, "type", json_string("string"));
            break;
        case Kind::Enum: {
            schema = json_object();
            put(schema, "type", json_string("string"));
            json_t *values = json_array();
            for (uint32_t i = 0; i < field.allowed->count; ++i) append(values, json_string(field.allowed->values[i]));
            put(schema, "enum", values);
            break;
        }
        case Kind::Boolean:
            schema = json_object();
            put(schema, "type", json_string("boolean"));
            break;
        case Kind::Integer: schema = integer_schema(); break;
        case Kind::StringArray: {
            json_t *items = json_object();
            put(items, "type", json_string("string"));
            schema = array_of(items);
            break;
        }
        case Kind::IntegerArray: schema = array_of(integer_schema()); break;
        case Kind::Record:
        case Kind::RecordPointer: schema = reference_to(*field.nested); break;
        case Kind::List: schema = array_of(reference_to(*field.nested)); break;
        case Kind::Union: schema = union_schema(*field.members); break;
    }
    return schema;
}

json_t *record_schema(const TypeDesc &type, bool strict) {
    json_t *schema = json_object();
    put(schema, "description", json_string(("Record type " + std::string(type.name) + ".").c_str()));
    put(schema, "type", json_string("object"));
    json_t *properties = json_object();
    json_t *required = json_array();
    for (uint32_t i = 0; i < type.field_count; ++i) {
        const FieldDesc &field = type.fields[i];
        put(properties, field.name, property_schema(field));
        if (field.required) append(required, json_string(field.name));
    }
    put(schema, "properties", properties);
    if (strict) put(schema, "additionalProperties", json_false());
    if (json_array_size(required) > 0)
        put(schema, "required", required);
    else
        json_decref(required);
    return schema;
}

// Every record type reachable from `type`, each once, in the order they are
// first met going down the tables (the root first).
void reach(const TypeDesc &type, std::vector<const TypeDesc *> &order, std::set<const TypeDesc *> &seen) {
    if (!seen.insert(&type).second) return;
    order.push_back(&type);
    for (uint32_t i = 0; i < type.field_count; ++i) {
        const FieldDesc &field = type.fields[i];
        if (field.nested != nullptr) reach(*field.nested, order, seen);
        if (field.members != nullptr)
            for (uint32_t k = 0; k < field.members->count; ++k) reach(*field.members->types[k], order, seen);
    }
}

// The schema text of a root type, ending in a newline.
std::string schema_text(const TypeDesc &root, bool strict) {
    std::vector<const TypeDesc *> order;
    std::set<const TypeDesc *> seen;
    reach(root, order, seen);

    const std::string name = root.name;
    json_t *schema = json_object();
    put(schema, "$schema", json_string("https://json-schema.org/draft/2020-12/schema"));
    put(schema, "$id", json_string(("urn:jsoncodec:schema:" + name).c_str()));
    put(schema, "title", json_string(name.c_str()));
    put(schema, "description",
        json_string(("A document of the root type " + name + ", as jsoncodec decodes it. " +
                     (strict ? "Properties not listed are refused, as jsoncodec check --strict refuses them (the "
                               "decoder itself ignores them). "
                             : "Properties not listed are ignored. ") +
                     "Beyond this schema the decoder also refuses repeated keys, strings holding \\u0000, and "
                     "integers written with a fraction or an exponent.")
                        .c_str()));
    put(schema, "$ref", json_string(("#/$defs/" + name).c_str()));
    json_t *defs = json_object();
    for (const TypeDesc *type : order) put(defs, type->name, record_schema(*type, strict));
    put(schema, "$defs", defs);

    char *dumped = json_dumps(schema, JSON_INDENT(2) | JSON_PRESERVE_ORDER);
    json_decref(schema);
    if (dumped == nullptr) out_of_memory();
    std::string text = std::string(dumped) + "\n";
    std::free(dumped);
    return text;
}

// `text` as C string literals, one per line of text, each on its own source
// line; adjacent literals make one string. Quote and backslash are escaped:
// the text is a schema jansson wrote, in which every other character is a
// printable ASCII one (it escapes control characters; the tables' names
// and texts are ASCII), no two question marks follow each other (no
// trigraph), and the last is a newline.
std::string c_literals(const std::string &text) {
    std::string out;
    std::string line = "    \"";
    for (const char c : text) {
        if (c == '\n') {
            out += line + "\\n\"\n";
            line = "    \"";
        } else {
            if (c == '"' || c == '\\') line += '\\';
            line += c;
        }
    }
    return out;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT.c\n", argv[0]);
        return 2;
    }

#define ROOT_DESC(T, name_property, short_name) &jsoncodec::T##_desc,
    const TypeDesc *const roots[] = {JSONCODEC_ROOT_TYPES(ROOT_DESC)};
#undef ROOT_DESC

    std::string source =
        "/* Generated by jsoncodec_make_schemas from the record tables; do not edit. */\n"
        "#include \"schemas.h\"\n";
    for (const TypeDesc *root : roots)
        for (const bool strict : {false, true})
            source += "\nstatic const char " + std::string(strict ? "strict_" : "schema_") + root->name + "[] =\n" +
                      c_literals(schema_text(*root, strict)) + "    ;\n";
    source += "\nconst struct jsoncodec_schema jsoncodec_schemas[] = {\n";
    for (const TypeDesc *root : roots)
        source += "    {\"" + std::string(root->name) + "\", schema_" + root->name + ", strict_" + root->name + "},\n";
    source += "};\n\nconst size_t jsoncodec_schema_count = " + std::to_string(std::size(roots)) + ";\n";

    std::FILE *out = std::fopen(argv[1], "w");
    if (out == nullptr) {
        std::perror(argv[1]);
        return 1;
    }
    bool written = std::fwrite(source.data(), 1, source.size(), out) == source.size();
    if (std::fclose(out) != 0 || !written) {
        std::perror(argv[1]);
        std::remove(argv[1]);
        return 1;
    }
    return 0;
}

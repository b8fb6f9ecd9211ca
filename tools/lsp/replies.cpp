// Diagnostics, fixes, completion, hover, formatting and outline (see
// replies.h).
#include "replies.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>

#include "checker.h"

namespace tool::lsp {
namespace {

using jsoncodec::Kind;

// The deepest record whose required properties an added value spells out.
constexpr int DEEPEST_VALUE = 6;
// The most did-you-means offered for an unknown key.
constexpr size_t MOST_RENAMES = 3;

void set(json_t *object, const char *key, json_t *value) { json_object_set_new(object, key, value); }

json_t *position_json(Position position) {
    return json_pack("{sIsI}", "line", static_cast<json_int_t>(position.line), "character",
                     static_cast<json_int_t>(position.character));
}

json_t *range_json(Positioner &at, size_t begin, size_t end) {
    json_t *range = json_object();
    set(range, "start", position_json(at.at(begin)));
    set(range, "end", position_json(at.at(end)));
    return range;
}

const char *rule_name(Rule rule) {
    // In the order of Rule.
    constexpr const char *NAMES[] = {"invalid-json", "missing-property", "invalid-value", "unknown-property"};
    return NAMES[static_cast<size_t>(rule)];
}

const TypeDesc *root_of(const Document &document, const Node &tree) {
    const TypeDesc *root = document.checked ? root_desc(document.type) : nullptr;
    return root != nullptr ? root : guess_root(tree);
}

// The property name of a JSON Pointer's last token. The checker's pointers
// spell '~' as "~0" and '/' as "~1", so a '~' always has its digit after it.
std::string last_token(std::string_view pointer) {
    const std::string_view token = pointer.substr(pointer.rfind('/') + 1);  // npos + 1: the whole
    std::string name;
    for (size_t i = 0; i < token.size(); ++i) {
        if (token[i] == '~') {
            name += token[++i] == '0' ? '~' : '/';
        } else {
            name += token[i];
        }
    }
    return name;
}

std::string record_value(const TypeDesc &type, int depth);

// A value of a property's kind that the record type accepts where it can:
// an allowed text, a record with its required properties.
std::string value_of(const FieldDesc *field, int depth) {
    if (field == nullptr) return "null";
    switch (field->kind) {
        case Kind::String: return "\"\"";
        case Kind::Enum: return quoted(field->allowed->values[0]);
        case Kind::Boolean: return "false";
        case Kind::Integer: return "0";
        case Kind::StringArray:
        case Kind::IntegerArray:
        case Kind::List: return "[]";
        case Kind::Record:
        case Kind::RecordPointer: return record_value(*field->nested, depth + 1);
        default: break;  // Kind::Union
    }
    // A union's: its first member's.
    return record_value(*field->members->types[0], depth + 1);
}

std::string record_value(const TypeDesc &type, int depth) {
    if (depth > DEEPEST_VALUE) return "{}";
    std::string value = "{";
    for (uint32_t i = 0; i < type.field_count; ++i) {
        if (!type.fields[i].required) continue;
        if (value.size() > 1) value += ", ";
        value += quoted(type.fields[i].name) + ": " + value_of(&type.fields[i], depth);
    }
    return value + "}";
}

// The edit that adds the member text `member` to `object`: before its first
// member, on a line of its own when that one has its own line.
Edit insertion(std::string_view text, const Node &object, const std::string &member) {
    if (object.members.empty()) return {object.begin + 1, object.begin + 1, member, ", "};
    const size_t first = object.members.front().key_begin;
    const std::string_view gap = text.substr(object.begin + 1, first - object.begin - 1);
    const size_t line_break = gap.find_first_of("\r\n");
    const std::string separator = line_break == std::string_view::npos ? " " : std::string(gap.substr(line_break));
    return {first, first, member + "," + separator, ""};
}

bool is_space(char c) { return c == ' ' || c == '\t'; }

// The edit that removes `member` from `object`, with its comma, and with
// its line when it stands alone on it. Only a well-formed text has unknown
// properties to remove: each member has its value, an object's members come
// after its '{' and before its '}', and a comma has a member after it.
Edit removal(std::string_view text, const Node &object, const Member &member) {
    const size_t index = static_cast<size_t>(&member - object.members.data());
    const size_t end = member.value.end;
    size_t after = end;
    while (is_space(text[after])) ++after;
    if (text[after] == ',') {
        size_t stop = after + 1;
        while (is_space(text[stop])) ++stop;
        size_t start = member.key_begin;
        while (is_space(text[start - 1])) --start;
        const bool own_line = text[start - 1] == '\n' || text[start - 1] == '\r';
        if (own_line && (text[stop] == '\n' || text[stop] == '\r')) {
            stop += text[stop] == '\r' && text[stop + 1] == '\n' ? 2 : 1;
            return {start, stop, "", ""};
        }
        return {member.key_begin, stop, "", ""};
    }
    if (index > 0) return {object.members[index - 1].value.end, end, "", ""};
    return {member.key_begin, end, "", ""};
}

// The properties of `record` that `object` does not hold, but for `except`:
// of a union's value whose member is not told, its discriminator alone.
std::vector<const FieldDesc *> absent_fields(const RecordAt &record, const Node &object, const Member *except) {
    std::vector<const FieldDesc *> fields, absent;
    if (record.type != nullptr) {
        for (uint32_t i = 0; i < record.type->field_count; ++i) fields.push_back(&record.type->fields[i]);
    } else if (record.choices != nullptr) {
        fields.push_back(union_discriminator(*record.choices));
    }
    for (const FieldDesc *field : fields) {
        const Member *held = object.member(field->name);
        if (held == nullptr || held == except) absent.push_back(field);
    }
    return absent;
}

// The did-you-means of the unknown key `key` in `object`: the library's
// hint first, then the nearest absent properties.
std::vector<std::string_view> renames(const std::string &key, const std::string &hint, const Cursor &cursor) {
    std::vector<std::string_view> names;
    for (const FieldDesc *field : absent_fields(cursor.record, *cursor.object, cursor.member))
        names.push_back(field->name);
    std::vector<std::string_view> ranked = rank_names(key, names, MOST_RENAMES);
    if (!hint.empty() && std::find(names.begin(), names.end(), hint) != names.end()) {
        ranked.erase(std::remove(ranked.begin(), ranked.end(), std::string_view(hint)), ranked.end());
        ranked.insert(ranked.begin(), *std::find(names.begin(), names.end(), hint));
        if (ranked.size() > MOST_RENAMES) ranked.pop_back();
    }
    return ranked;
}

json_t *text_edits_json(Positioner &at, const std::vector<Edit> &edits) {
    json_t *list = json_array();
    for (const Edit &edit : edits) {
        json_t *one = json_object();
        set(one, "range", range_json(at, edit.begin, edit.end));
        set(one, "newText", json_text(edit.text));
        json_array_append_new(list, one);
    }
    return list;
}

json_t *workspace_edit_json(const Document &document, const Client &client, const std::vector<Edit> &edits) {
    Positioner at(document.text, document.lines, client.encoding);
    json_t *changes = json_object();
    set(changes, document.uri.c_str(), text_edits_json(at, edits));
    json_t *edit = json_object();
    set(edit, "changes", changes);
    return edit;
}

json_t *diagnostic_json(const Document &document, const Fault &fault, const std::vector<Fix> &fixes, Positioner &at,
                        Positioner &note_at) {
    json_t *diagnostic = json_object();
    set(diagnostic, "range", range_json(at, fault.span.offset, fault.span.end));
    set(diagnostic, "severity", json_integer(fault.severity == Severity::error ? 1 : 2));
    set(diagnostic, "code", json_string(rule_name(fault.rule)));
    set(diagnostic, "source", json_string("jsoncodec"));
    std::string message = fault.message;
    if (!fault.hint.empty()) message += " (did you mean '" + fault.hint + "'?)";
    set(diagnostic, "message", json_text(message));
    if (!fault.notes.empty()) {
        json_t *related = json_array();
        for (const Note &note : fault.notes) {
            json_t *location = json_object();
            set(location, "uri", json_text(document.uri));
            const Span &span = note.placed ? note.span : fault.span;
            set(location, "range", range_json(note_at, span.offset, span.end));
            json_t *information = json_object();
            set(information, "location", location);
            set(information, "message", json_text(note.message));
            json_array_append_new(related, information);
        }
        set(diagnostic, "relatedInformation", related);
    }
    if (!fixes.empty()) {
        json_t *list = json_array();
        for (const Fix &fix : fixes)
            json_array_append_new(list,
                                  json_pack("{s:o,s:b}", "title", json_text(fix.title), "preferred", fix.preferred));
        set(diagnostic, "data", json_pack("{s:o}", "fixes", list));
    }
    return diagnostic;
}

// Whether a finding can have fixes: those that need the document's tree.
bool fixable(const Fault &fault) {
    return fault.rule == Rule::unknown_property || fault.rule == Rule::missing_property || !fault.hint.empty();
}

std::string plain(std::string text, bool markdown) {
    if (markdown) return text;
    text.erase(std::remove(text.begin(), text.end(), '`'), text.end());
    for (size_t at; (at = text.find("**")) != std::string::npos;) text.erase(at, 2);
    return text;
}

std::string listed(const jsoncodec::EnumDesc &allowed) {
    std::string list;
    for (uint32_t i = 0; i < allowed.count; ++i) list += (i > 0 ? ", `" : "`") + std::string(allowed.values[i]) + "`";
    return list;
}

// What hover says of the property `field` of `record`.
std::string describe(const RecordAt &record, const FieldDesc &field) {
    std::string text = "**" + std::string(field.name) + "**: property of `" + record.type->name + "`\n\n";
    text += kind_words(field) + (field.required ? ", required" : ", optional") + "\n\n";
    switch (field.kind) {
        case Kind::Enum: {
            // Every member of a union has its discriminator.
            if (record.choices != nullptr &&
                std::string_view(union_discriminator(*record.choices)->name) == field.name) {
                text += "Tells the record apart; one of:";
                for (uint32_t k = 0; k < record.choices->count; ++k) {
                    const FieldDesc *own = jsoncodec::discriminator(*record.choices->types[k]);
                    text += " " + listed(*own->allowed) + (k + 1 < record.choices->count ? "," : "");
                }
                text += "\n";
            } else {
                text += "One of: " + listed(*field.allowed) + "\n";
            }
            break;
        }
        case Kind::Integer: text += "From -9223372036854775808 to 9223372036854775807\n"; break;
        case Kind::StringArray:
        case Kind::IntegerArray:
        case Kind::List: text += "At most " + std::to_string(jsoncodec::MAX_ARRAY_SZ) + " elements\n"; break;
        case Kind::Union: {
            const FieldDesc *tag = union_discriminator(*field.members);
            text += "Records:";
            for (uint32_t k = 0; k < field.members->count; ++k)
                text += std::string(k > 0 ? ", `" : " `") + field.members->types[k]->name + "`";
            text += std::string("; told apart by `") + tag->name + "`\n";
            break;
        }
        default: break;
    }
    return text;
}

// The outline: each record named by a name property, in the record that
// holds it.
struct Symbol {
    std::string name, type;
    std::vector<std::string> kinds;  // the discriminators below it: its kind, its subtype
    size_t begin = 0, end = 0, name_begin = 0, name_end = 0;
    std::vector<Symbol> children;
};

// The name property of a record type: a string property whose name ends in
// "Name", first of all (the record types' first properties are required).
// No record type is without properties.
const FieldDesc *name_property(const TypeDesc &type) {
    const FieldDesc &first = type.fields[0];
    const std::string_view name = first.name;
    return first.kind == Kind::String && name.ends_with("Name") ? &first : nullptr;
}

void outline(const Node &object, const RecordAt &record, Symbol &parent, std::vector<std::string> *kinds) {
    if (record.type == nullptr) return;
    Symbol *holder = &parent;
    if (const FieldDesc *naming = name_property(*record.type)) {
        Symbol &symbol = parent.children.emplace_back();
        symbol.type = record.type->name;
        symbol.begin = object.begin;
        symbol.end = object.end;
        symbol.name_begin = object.begin, symbol.name_end = object.begin + 1;
        if (const Member *named = object.member(naming->name);
            named != nullptr && named->value.type == Node::Type::string) {
            symbol.name = named->value.text;
            symbol.name_begin = named->value.begin, symbol.name_end = named->value.end;
        }
        if (symbol.name.empty()) symbol.name = "(" + symbol.type + " without a name)";
        holder = &symbol;
        kinds = &symbol.kinds;
    }
    // A union's member (`record.type` is told) is told by its discriminator's
    // text; the unions are the actions' kinds and subtypes, below a named
    // action.
    if (record.choices != nullptr)
        kinds->push_back(object.member(union_discriminator(*record.choices)->name)->value.text);
    // The records nest far less deep than the whole text is read, so each
    // object reached here has its members read; a key that names no
    // property has no record, and its value adds nothing.
    for (const Member &member : object.members) {
        const FieldDesc *field = find_field(*record.type, member.key);
        if (member.value.type == Node::Type::object)
            outline(member.value, record_of(field, member.value), *holder, kinds);
        for (const Node &item : member.value.items)
            if (item.type == Node::Type::object) outline(item, record_of(field, item), *holder, kinds);
    }
}

int symbol_kind(std::string_view type) {
    if (type == "data_protection_policy") return 2;  // Module
    if (type == "workflow") return 3;                // Namespace
    if (type == "action") return 12;                 // Function
    return 5;                                        // rule: Class (the named record types are these four)
}

json_t *symbol_json(const Symbol &symbol, Positioner &at) {
    json_t *json = json_object();
    set(json, "name", json_text(symbol.name));
    std::string detail = symbol.type;
    for (size_t i = 0; i < symbol.kinds.size(); ++i) detail += (i == 0 ? ": " : " / ") + symbol.kinds[i];
    set(json, "detail", json_text(detail));
    set(json, "kind", json_integer(symbol_kind(symbol.type)));
    set(json, "range", range_json(at, symbol.begin, symbol.end));
    set(json, "selectionRange", range_json(at, symbol.name_begin, symbol.name_end));
    json_t *children = json_array();
    for (const Symbol &child : symbol.children) json_array_append_new(children, symbol_json(child, at));
    set(json, "children", children);
    return json;
}

}  // namespace

json_t *json_text(std::string_view text) {
    if (is_valid_utf8(text)) return json_stringn(text.data(), text.size());
    const std::string valid = valid_utf8(text);
    return json_stringn(valid.data(), valid.size());
}

std::vector<Fix> fixes_for(const Document &document, const Fault &fault, const Node &tree) {
    std::vector<Fix> fixes;
    const std::string_view text = document.text;
    const TypeDesc *root = root_of(document, tree);
    // The checker's findings are of a well-formed text, read whole here: an
    // unknown property is placed at its key, a missing one at the '{' of
    // its object, and the records nest far less deep than objects are read.
    if (fault.rule == Rule::unknown_property) {
        const Cursor cursor = locate(tree, root, fault.span.offset);
        const std::string &key = cursor.member->key;
        for (std::string_view name : renames(key, fault.hint, cursor))
            fixes.push_back({"Rename '" + key + "' to '" + std::string(name) + "'",
                             name == fault.hint,
                             {{cursor.member->key_begin, cursor.member->key_end, quoted(name), ""}}});
        fixes.push_back({"Remove the property '" + key + "'", false, {removal(text, *cursor.object, *cursor.member)}});
    } else if (fault.rule == Rule::missing_property) {
        const Cursor cursor = locate(tree, root, fault.span.offset + 1);
        const std::string name = last_token(fault.pointer);
        const FieldDesc *field = cursor.record.type != nullptr ? find_field(*cursor.record.type, name) : nullptr;
        fixes.push_back({"Add the required property '" + name + "'",
                         true,
                         {insertion(text, *cursor.object, quoted(name) + ": " + value_of(field, 0))}});
    } else if (text[fault.span.offset] == '"') {  // fixable: a refused text with its did-you-mean
        fixes.push_back({"Replace " + std::string(text.substr(fault.span.offset, fault.span.end - fault.span.offset)) +
                             " with '" + fault.hint + "'",
                         true,
                         {{fault.span.offset, fault.span.end, quoted(fault.hint), ""}}});
    }
    return fixes;
}

std::vector<Edit> merged(std::vector<Edit> edits) {
    std::stable_sort(edits.begin(), edits.end(), [](const Edit &a, const Edit &b) {
        return a.begin != b.begin ? a.begin < b.begin : a.end < b.end;
    });
    std::vector<Edit> out;
    for (Edit &edit : edits) {
        if (!out.empty()) {
            Edit &last = out.back();
            if (last.begin == last.end && edit.begin == edit.end && last.begin == edit.begin) {
                last.text += last.separator + edit.text;
                continue;
            }
            if (edit.begin < last.end) continue;
        }
        out.push_back(std::move(edit));
    }
    return out;
}

json_t *diagnostics_json(Document &document, const Client &client) {
    document.check();
    json_t *list = json_array();
    Positioner at(document.text, document.lines, client.encoding);
    Positioner note_at(document.text, document.lines, client.encoding);
    if (!document.why.empty()) {
        json_t *diagnostic = json_object();
        set(diagnostic, "range", range_json(at, 0, 0));
        set(diagnostic, "severity", json_integer(3));
        set(diagnostic, "code", json_string("untyped"));
        set(diagnostic, "source", json_string("jsoncodec"));
        set(diagnostic, "message", json_text("the document's type cannot be told: " + document.why));
        json_array_append_new(list, diagnostic);
    }
    std::optional<Node> tree;
    if (std::any_of(document.faults.begin(), document.faults.end(), fixable)) tree = read_tree(document.text, SIZE_MAX);
    for (const Fault &fault : document.faults) {
        const std::vector<Fix> fixes = fixable(fault) ? fixes_for(document, fault, *tree) : std::vector<Fix>{};
        json_array_append_new(list, diagnostic_json(document, fault, fixes, at, note_at));
    }
    return list;
}

json_t *code_actions_json(Document &document, const Client &client, size_t begin, size_t end, bool quick_fixes,
                          bool fix_all) {
    document.check();
    json_t *actions = json_array();
    std::optional<Node> tree;  // read for the first fault whose fixes are asked for
    std::vector<Edit> all;
    size_t taken = 0;
    Positioner at(document.text, document.lines, client.encoding);
    Positioner note_at(document.text, document.lines, client.encoding);
    for (const Fault &fault : document.faults) {
        if (!fixable(fault)) continue;
        const bool here = fault.span.offset <= end && begin <= fault.span.end;
        if (!fix_all && !(quick_fixes && here)) continue;
        if (!tree) tree = read_tree(document.text, SIZE_MAX);
        const std::vector<Fix> fixes = fixes_for(document, fault, *tree);
        if (fix_all && !fixes.empty() && fixes.front().preferred) {
            all.insert(all.end(), fixes.front().edits.begin(), fixes.front().edits.end());
            ++taken;
        }
        if (!quick_fixes || !here) continue;
        for (const Fix &fix : fixes) {
            json_t *action = json_object();
            set(action, "title", json_text(fix.title));
            set(action, "kind", json_string("quickfix"));
            json_t *diagnostics = json_array();
            json_array_append_new(diagnostics, diagnostic_json(document, fault, fixes, at, note_at));
            set(action, "diagnostics", diagnostics);
            if (fix.preferred) set(action, "isPreferred", json_true());
            set(action, "edit", workspace_edit_json(document, client, fix.edits));
            json_array_append_new(actions, action);
        }
    }
    if (fix_all && taken > 0) {
        json_t *action = json_object();
        set(action, "title", json_text("Apply the " + std::to_string(taken) + " preferred fixes"));
        set(action, "kind", json_string("source.fixAll"));
        set(action, "edit", workspace_edit_json(document, client, merged(std::move(all))));
        json_array_append_new(actions, action);
    }
    return actions;
}

json_t *completion_json(const Document &document, const Client &client, size_t offset) {
    json_t *items = json_array();
    const Node tree = read_tree(document.text, offset);
    const Cursor cursor = locate(tree, root_of(document, tree), offset);
    if (cursor.where == Cursor::Where::nowhere) return items;
    Positioner at(document.text, document.lines, client.encoding);
    json_t *range = range_json(at, cursor.begin, cursor.end);
    const bool quoted_token = cursor.begin != cursor.end && document.text[cursor.begin] == '"';
    auto add = [&](const std::string &label, int kind, const std::string &detail, const std::string &sort,
                   const std::string &text, bool snippet) {
        json_t *item = json_object();
        set(item, "label", json_text(label));
        set(item, "kind", json_integer(kind));
        set(item, "detail", json_text(detail));
        set(item, "sortText", json_text(sort));
        set(item, "filterText", json_text(quoted_token ? quoted(label) : label));
        json_t *edit = json_object();
        set(edit, "range", json_deep_copy(range));
        set(edit, "newText", json_text(text));
        set(item, "textEdit", edit);
        set(item, "insertTextFormat", json_integer(snippet ? 2 : 1));
        json_array_append_new(items, item);
    };
    if (cursor.where == Cursor::Where::key) {
        const bool has_colon = cursor.member != nullptr && cursor.member->colon != SIZE_MAX;
        const std::vector<const FieldDesc *> fields = absent_fields(cursor.record, *cursor.object, cursor.member);
        for (size_t i = 0; i < fields.size(); ++i) {
            const FieldDesc &field = *fields[i];
            std::string text = quoted(field.name);
            bool snippet = false;
            if (!has_colon) {
                const std::string value = value_of(&field, DEEPEST_VALUE);
                if (client.snippets) {
                    std::string escaped;
                    for (char c : value) {
                        if (std::string_view("$}\\").find(c) != std::string_view::npos) escaped += '\\';
                        escaped += c;
                    }
                    text += ": ${1:" + escaped + "}";
                    snippet = true;
                } else {
                    text += ": " + value;
                }
            }
            char sort[32];
            std::snprintf(sort, sizeof sort, "%d%03zu", field.required ? 0 : 1, i);
            add(field.name, 10, kind_words(field) + (field.required ? ", required" : ", optional"), sort, text,
                snippet);
        }
    } else {  // a value: of a member, always
        const std::string &key = cursor.member->key;
        const FieldDesc *tag = cursor.record.choices != nullptr ? union_discriminator(*cursor.record.choices) : nullptr;
        const FieldDesc *field = cursor.record.type != nullptr ? find_field(*cursor.record.type, key) : nullptr;
        size_t n = 0;
        auto value = [&](const std::string &text, int kind, const std::string &detail) {
            char sort[32];
            std::snprintf(sort, sizeof sort, "%04zu", n++);
            add(text, kind, detail, sort, kind == 20 ? quoted(text) : text, false);
        };
        if (tag != nullptr && key == tag->name) {
            for (uint32_t k = 0; k < cursor.record.choices->count; ++k) {
                const FieldDesc *own = jsoncodec::discriminator(*cursor.record.choices->types[k]);
                for (uint32_t i = 0; i < own->allowed->count; ++i)
                    value(own->allowed->values[i], 20, cursor.record.choices->types[k]->name);
            }
        } else if (field != nullptr && field->kind == Kind::Enum) {
            for (uint32_t i = 0; i < field->allowed->count; ++i) value(field->allowed->values[i], 20, field->name);
        } else if (field != nullptr && field->kind == Kind::Boolean) {
            value("true", 14, "boolean");
            value("false", 14, "boolean");
        }
    }
    json_decref(range);
    return items;
}

json_t *hover_json(const Document &document, const Client &client, size_t offset) {
    const Node tree = read_tree(document.text, offset);
    const Cursor cursor = locate(tree, root_of(document, tree), offset);
    if (cursor.where != Cursor::Where::key || cursor.member == nullptr || cursor.record.type == nullptr)
        return json_null();
    const std::string &key = cursor.member->key;
    std::string text;
    if (const FieldDesc *field = find_field(*cursor.record.type, key)) {
        text = describe(cursor.record, *field);
    } else {
        text = "`" + key + "` is not a property of `" + cursor.record.type->name +
               "`: the server ignores it and formatting drops it.";
        const std::vector<std::string_view> names = renames(key, {}, cursor);
        for (size_t i = 0; i < names.size(); ++i)
            text += (i == 0 ? "\n\nDid you mean `" : ", `") + std::string(names[i]) + "`";
        if (!names.empty()) text += "?";
    }
    Positioner at(document.text, document.lines, client.encoding);
    json_t *contents = json_object();
    set(contents, "kind", json_string(client.markdown ? "markdown" : "plaintext"));
    set(contents, "value", json_text(plain(text, client.markdown)));
    json_t *hover = json_object();
    set(hover, "contents", contents);
    set(hover, "range", range_json(at, cursor.member->key_begin, cursor.member->key_end));
    return hover;
}

json_t *formatting_json(const Document &document, const Client &client, std::string &refusal) {
    if (document.text.find('\0') != std::string::npos) {
        refusal = "not formatted: the text holds a NUL byte";
        return nullptr;
    }
    char *json = nullptr;
    Checked checked;
    const Verdict verdict = format_document(document.text, {}, false, &json, checked);
    const std::unique_ptr<char, decltype(&std::free)> owned(json, &std::free);
    if (verdict == Verdict::untyped) {
        refusal = "not formatted: the document's type cannot be told: " + checked.why;
        return nullptr;
    }
    if (verdict != Verdict::valid) {
        refusal = checked.faults.empty() ? std::string("not formatted: out of memory")
                                         : "not formatted: the document is refused: " + checked.faults.front().message;
        return nullptr;
    }
    if (checked.warnings > 0) {
        refusal = "not formatted: the document holds " + std::to_string(checked.warnings) + " propert" +
                  (checked.warnings == 1 ? "y" : "ies") +
                  " its type does not know, which formatting would drop (the first: " +
                  last_token(checked.faults.front().pointer) + ")";
        return nullptr;
    }
    const std::string canonical = std::string(json) + "\n";
    json_t *edits = json_array();
    if (canonical == document.text) return edits;
    Positioner at(document.text, document.lines, client.encoding);
    json_t *edit = json_object();
    set(edit, "range", range_json(at, 0, document.text.size()));
    set(edit, "newText", json_text(canonical));
    json_array_append_new(edits, edit);
    return edits;
}

json_t *symbols_json(const Document &document, const Client &client) {
    const Node tree = read_tree(document.text, SIZE_MAX);
    Symbol top;
    outline(tree, {root_of(document, tree), nullptr}, top, nullptr);
    Positioner at(document.text, document.lines, client.encoding);
    json_t *list = json_array();
    for (const Symbol &symbol : top.children) json_array_append_new(list, symbol_json(symbol, at));
    return list;
}

}  // namespace tool::lsp

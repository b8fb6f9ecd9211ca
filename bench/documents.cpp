#include "documents.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "generator.h"
#include "jsoncodec.h"

namespace bench {

namespace {

// The enumerations among the properties outside the kind records.
bool enumerated(std::string_view key) {
    return key == "actionSchedulePeriod" || key == "actionFailureImpact" ||
           key == "policyCompletionNotificationExecuteOn";
}

// A wrong value for `value`, a scalar of the property `key` (empty for an
// array item), or `value` itself for an opening or closing bracket.
std::string faulty(std::string_view key, std::string_view value) {
    if (value.empty()) return std::string(value);
    char first = value.front();
    if (first == '"') {
        // A doubled first letter: "week" -> "wweek".
        if (!enumerated(key) || value.size() < 3) return "7";
        std::string misspelt(1, '"');
        misspelt += value[1];
        misspelt.append(value.substr(1));
        return misspelt;
    }
    if (first != '-' && (first < '0' || first > '9') && value != "true" && value != "false") return std::string(value);
    std::string quoted(1, '"');
    quoted.append(value);
    quoted += '"';
    return quoted;
}

bool write_file(const std::string &path, const std::string &text) {
    FILE *file = std::fopen(path.c_str(), "wb");
    bool ok = file != nullptr && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (file != nullptr && std::fclose(file) != 0) ok = false;
    if (!ok) std::perror(path.c_str());
    return ok;
}

// The library's pretty text of a generated policy.
bool pretty_text(const std::string &compact, std::string &out) {
    char line[1024];
    data_protection_policy *policy = nullptr;
    if (rmqc_json_to_data_protection_policy(&policy, compact.c_str(), line, sizeof line) != RMQC_OK) {
        std::fprintf(stderr, "bench: a generated policy does not decode: %s\n", line);
        return false;
    }
    char *text = nullptr;
    int32_t status = rmqc_json_from_data_protection_policy(policy, &text, line, sizeof line, 1);
    rmqc_free_data_protection_policy(policy);
    if (status != RMQC_OK) {
        std::fprintf(stderr, "bench: a decoded policy does not encode: %s\n", line);
        return false;
    }
    out = text;
    std::free(text);
    return true;
}

}  // namespace

std::string with_faults(const std::string &pretty) {
    std::string out;
    out.reserve(pretty.size() + pretty.size() / 8);
    // The indent of the "actionSpecific" line whose record is being
    // copied unchanged, up to its closing line of the same indent, or -1.
    long kept_indent = -1;
    for (size_t start = 0; start < pretty.size();) {
        size_t end = pretty.find('\n', start);
        if (end == std::string::npos) end = pretty.size();
        std::string_view line(pretty.data() + start, end - start);
        start = end + 1;

        long indent = static_cast<long>(line.find_first_not_of(' '));
        if (indent < 0) indent = static_cast<long>(line.size());
        std::string_view rest = line.substr(static_cast<size_t>(indent));
        std::string_view key;
        size_t colon = rest.size() > 1 && rest.front() == '"' ? rest.find("\": ") : std::string_view::npos;
        if (colon != std::string_view::npos) {
            key = rest.substr(1, colon - 1);
            rest.remove_prefix(colon + 3);
        }
        bool comma = !rest.empty() && rest.back() == ',';
        if (comma) rest.remove_suffix(1);

        if (kept_indent >= 0) {
            if (indent == kept_indent) kept_indent = -1;
            out.append(line);
        } else if (key == "actionSpecific") {
            kept_indent = indent;
            out.append(line);
        } else {
            out.append(line.substr(0, line.size() - (comma ? 1 : 0) - rest.size()));
            out += faulty(key, rest);
            if (comma) out += ',';
        }
        out += '\n';
    }
    return out;
}

int write_documents(const std::string &dir, uint64_t seed) {
    std::string ten_mb;
    for (int megabytes : {1, 10, 60}) {
        std::string text = make_policy(size_t(megabytes) << 20, seed);
        if (!write_file(format("%s/policy-%dMB.json", dir.c_str(), megabytes), text)) return 1;
        if (megabytes == 10) ten_mb = std::move(text);
    }
    std::string pretty;
    if (!pretty_text(ten_mb, pretty)) return 1;
    return write_file(dir + "/faults-10MB.json", with_faults(pretty)) ? 0 : 1;
}

}  // namespace bench

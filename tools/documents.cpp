// The documents of a run and their findings (see documents.h).
#include "documents.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <utility>
#include <vector>

namespace tool {
namespace {

int not_checked(Output &output, Tally &tally, const std::string &label, const std::string &why) {
    output.failure(label, why);
    ++tally.unchecked;
    return EXIT_TROUBLE;
}

// Runs `each` on one document, the failure of memory running out its own.
int one_document(Output &output, Tally &tally, const char *path, const std::function<int(const char *)> &each) {
    int status;
    try {
        status = each(path);
    } catch (const std::bad_alloc &) {
        status = not_checked(output, tally, label_of(path), label_of(path) + ": out of memory");
    }
    // A message that cannot be written fails the run as output does: a
    // failed write, in the flush or before it, leaves the error indicator set.
    fflush(stderr);
    return ferror(stderr) ? EXIT_TROUBLE : status;
}

}  // namespace

int for_each_document(const Settings &settings, bool folders, Output &output, Tally &tally,
                      const std::function<int(const char *path)> &each) {
    // Findings are written a piece at a time; standard error is fully
    // buffered, in blocks large enough that a document with many findings
    // costs few writes, and flushed after each document.
    static char buffer[1 << 16];
    setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
    int status = 0;
    if (settings.operands.empty()) return one_document(output, tally, nullptr, each);
    for (const std::string &operand : settings.operands) {
        if (operand == "-") {
            status = std::max(status, one_document(output, tally, nullptr, each));
            continue;
        }
        if (!folders || !is_folder(operand.c_str())) {
            status = std::max(status, one_document(output, tally, operand.c_str(), each));
            continue;
        }
        std::vector<std::string> files;
        std::vector<std::pair<std::string, std::string>> failures;
        try {
            add_json_files(operand, files, failures);
        } catch (const std::bad_alloc &) {
            failures.emplace_back(operand, operand + ": out of memory");
        }
        for (const auto &[folder, why] : failures) status = std::max(status, not_checked(output, tally, folder, why));
        for (const std::string &file : files)
            status = std::max(status, one_document(output, tally, file.c_str(), each));
    }
    return status;
}

bool read_document(const char *path, Rewritable *rewritable, Input &in, Checked &checked, Output &output,
                   Tally &tally) {
    std::string why;
    if (!read_input(path, rewritable, in, why)) {
        not_checked(output, tally, label_of(path), why);
        return false;
    }
    if (in.nul) {
        checked.faults.push_back(nul_fault(in.text));
        checked.errors = 1;
    }
    return true;
}

int report(const Settings &settings, Output &output, Tally &tally, const std::string &label, std::string_view text,
           Verdict verdict, Checked &checked) {
    if (verdict == Verdict::out_of_memory)
        return not_checked(output, tally, label, label + ": out of memory while checking the document");
    if (verdict == Verdict::untyped)
        return not_checked(output, tally, label,
                           label + ": cannot tell the document's type: " + checked.why +
                               "; give --type TYPE, TYPE one of: " + type_names());
    if (!settings.warnings) {
        std::erase_if(checked.faults, [](const Fault &fault) { return fault.severity == Severity::warning; });
        checked.warnings = 0;
    }
    if (settings.strict) {
        for (Fault &fault : checked.faults) fault.severity = Severity::error;
        checked.errors += checked.warnings;
        checked.warnings = 0;
    }
    if (!output.file(label, text, checked))
        return not_checked(output, tally, label, label + ": out of memory while reporting the findings");
    ++tally.files;
    tally.with_findings += !checked.faults.empty();  // findings are left out only after shown ones
    tally.errors += checked.errors;
    tally.warnings += checked.warnings;
    tally.left_out += checked.left_out;
    return verdict == Verdict::refused || checked.errors > 0 ? EXIT_REFUSED : 0;
}

}  // namespace tool

// jsoncodec check: each document's findings in the chosen format, then a
// summary of the run on standard error, as a compiler ends with its count
// of errors:
//   jsoncodec: 3 errors and 6 warnings in 2 of 5 files
//   jsoncodec: 1 error in 1 file (4 more findings not shown); 1 file could not be checked
// said only when there is something to count: a run of valid documents
// without warnings is silent.
#include <string>

#include "commands.h"
#include "documents.h"
#include "terminal.h"

namespace tool {
namespace {

std::string counted(size_t count, const char *noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

void print_summary(const Tally &tally) {
    std::string summary;
    if (tally.errors > 0) summary = counted(tally.errors, "error");
    if (tally.warnings > 0) summary += (summary.empty() ? "" : " and ") + counted(tally.warnings, "warning");
    // Findings left out past the limit come after shown ones: the limit is
    // at least 1, and counts no hidden warning.
    if (!summary.empty()) {
        summary += " in " + (tally.with_findings == tally.files
                                 ? counted(tally.files, "file")
                                 : std::to_string(tally.with_findings) + " of " + counted(tally.files, "file"));
    }
    if (tally.left_out > 0) summary += " (" + counted(tally.left_out, "more finding") + " not shown)";
    if (tally.unchecked > 0)
        summary += (summary.empty() ? "" : "; ") + counted(tally.unchecked, "file") + " could not be checked";
    if (!summary.empty()) say("%s", summary.c_str());
}

}  // namespace

int check_command(const Settings &settings) {
    const std::unique_ptr<Output> output = make_output(settings.format, use_colour(settings.colour, stderr));
    Tally tally;
    const CheckOptions options{settings.type, settings.first, settings.first ? 0 : settings.max_faults,
                               settings.warnings};
    int status = for_each_document(settings, true, *output, tally, [&](const char *path) {
        Input in;
        Checked checked;
        if (!read_document(path, nullptr, in, checked, *output, tally)) return EXIT_TROUBLE;
        const Verdict verdict = in.nul ? Verdict::refused : check_document(in.text, options, checked);
        return report(settings, *output, tally, label_of(path), in.text, verdict, checked);
    });
    if (!output->finish(status)) {
        say("out of memory while writing the findings");
        status = EXIT_TROUBLE;
    }
    print_summary(tally);
    if (finish_standard_output() != 0 || fflush(stderr) != 0 || ferror(stderr)) status = EXIT_TROUBLE;
    return status;
}

}  // namespace tool

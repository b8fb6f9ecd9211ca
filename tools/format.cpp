// jsoncodec format: a document's canonical form (decoded and encoded again
// by the library) on standard output, over the file itself (-i), or only
// compared with the file (--check). So that no value is dropped unasked,
// the properties a type does not know are warnings, and -i rewrites no file
// that holds some unless --drop-unknown is given.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "commands.h"
#include "documents.h"
#include "terminal.h"

namespace tool {
namespace {

const char *properties(size_t count) { return count == 1 ? "property" : "properties"; }

// Puts the canonical text `json` of the document read from `path` (whose
// text was `text`, with `unknown` properties its type does not know, which
// the canonical text lacks) where the run's destination says.
int put_formatted(const Settings &settings, Output &output, const char *path, const Rewritable &file,
                  const std::string &text, std::string_view json, size_t unknown) {
    const std::string label = label_of(path);
    if (unknown > 0 && settings.strict && settings.destination != Destination::compare) {
        say("%s: not formatted: --strict refuses the %zu %s its type does not know", label.c_str(), unknown,
            properties(unknown));
        return EXIT_REFUSED;
    }
    if (unknown > 0 && settings.destination == Destination::in_place && !settings.drop_unknown) {
        say("cannot rewrite '%s': it holds %zu %s its type does not know, which format would drop; it is left "
            "untouched (--drop-unknown drops them)",
            label.c_str(), unknown, properties(unknown));
        return EXIT_REFUSED;
    }
    if (settings.destination == Destination::output) {
        fwrite(json.data(), 1, json.size(), stdout);
        putchar('\n');
        return finish_standard_output();
    }
    if (text.size() == json.size() + 1 && text.compare(0, json.size(), json) == 0 && text.back() == '\n')
        return 0;  // already canonical
    if (settings.destination == Destination::in_place) {
        std::string why;
        if (replace_file(path, file, json, why)) return 0;
        output.failure(label, why);
        return EXIT_TROUBLE;
    }
    puts(shown(label).c_str());
    if (unknown > 0)
        say("%s: not in canonical form: it holds %zu %s its type does not know, which format would drop (format -i "
            "leaves it untouched unless --drop-unknown is given)",
            label.c_str(), unknown, properties(unknown));
    return finish_standard_output() != 0 ? EXIT_TROUBLE : EXIT_REFUSED;
}

}  // namespace

int format_command(const Settings &settings) {
    const std::unique_ptr<Output> output = make_output(Format::text, use_colour(settings.colour, stderr));
    if (settings.destination == Destination::in_place) catch_signals();
    Tally tally;
    const bool folders = settings.destination == Destination::compare;
    const int status = for_each_document(settings, folders, *output, tally, [&](const char *path) {
        Rewritable file;
        Input in;
        Checked checked;
        if (!read_document(path, settings.destination == Destination::in_place ? &file : nullptr, in, checked, *output,
                           tally))
            return EXIT_TROUBLE;
        char *json = nullptr;
        const Verdict verdict =
            in.nul ? Verdict::refused : format_document(in.text, settings.type, settings.compact, &json, checked);
        const std::unique_ptr<char, decltype(&std::free)> owned(json, &std::free);
        const size_t unknown = checked.warnings;
        const int reported = report(settings, *output, tally, label_of(path), in.text, verdict, checked);
        if (verdict != Verdict::valid || reported == EXIT_TROUBLE) return reported;
        return put_formatted(settings, *output, path, file, in.text, json, unknown);
    });
    output->finish(status);
    return fflush(stderr) != 0 || ferror(stderr) ? EXIT_TROUBLE : status;
}

}  // namespace tool

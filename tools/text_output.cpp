// Findings as a compiler shows them, on standard error:
//   FILE:LINE:COLUMN: error: MESSAGE            (warning: for a warning)
//    LINE | the source line
//         |     ^~~~~
//   FILE:LINE:COLUMN: note: did you mean 'HINT'?
//   FILE:LINE:COLUMN: note: NOTE                (at the note's own place, if it has one)
// A warning that --strict counts is an error marked [--strict], as a
// compiler marks the warnings -Werror turns into errors. Everything from the
// document is shown as shown() gives it; the caret and the tildes under the
// rest of the token are placed by the width of what is shown before them.
#include <algorithm>
#include <cstdio>

#include "output.h"
#include "terminal.h"

namespace tool {
namespace {

// The escape sequences of the colours compilers use.
constexpr const char *BOLD = "\033[1m";
constexpr const char *RED = "\033[1;31m";
constexpr const char *GREEN = "\033[1;32m";
constexpr const char *MAGENTA = "\033[1;35m";
constexpr const char *CYAN = "\033[1;36m";
constexpr const char *PLAIN = "\033[m";

// A source line longer than this many bytes is shown as a window of about
// WINDOW bytes either side of the place.
constexpr size_t LONG_LINE = 200;
constexpr size_t WINDOW = 80;

bool is_continuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

class TextOutput final : public Output {
  public:
    explicit TextOutput(bool colour) : colour_(colour) {}

    bool file(const std::string &label, std::string_view text, const Checked &checked) override {
        const std::string name = shown(label);
        // The findings come in the order of their places, so the line of
        // each is found by going on from the line of the one before.
        size_t start = 0, end = std::min(text.find('\n'), text.size());
        for (const Fault &fault : checked.faults) {
            while (std::min(fault.span.offset, text.size()) > end) {
                start = end + 1;
                end = std::min(text.find('\n', start), text.size());
            }
            const bool warning = fault.severity == Severity::warning;
            const bool strict = !warning && fault.rule == Rule::unknown_property;
            place(name, fault.span);
            fprintf(stderr, "%s%s:%s %s%s\n", colour(warning ? MAGENTA : RED), warning ? "warning" : "error",
                    colour(PLAIN), shown(fault.message).c_str(), strict ? " [--strict]" : "");
            source(text, start, end, fault.span);
            if (!fault.hint.empty()) note(name, fault.span, "did you mean '" + fault.hint + "'?");
            for (const Note &each : fault.notes) note(name, each.placed ? each.span : fault.span, each.message);
        }
        say_left_out(label, checked);
        return true;
    }

    void failure(const std::string &, const std::string &why) override { say("%s", why.c_str()); }

    bool finish(int) override { return true; }

  private:
    const char *colour(const char *code) const { return colour_ ? code : ""; }

    void place(const std::string &name, const Span &span) const {
        fprintf(stderr, "%s%s:%zu:%zu:%s ", colour(BOLD), name.c_str(), span.line, span.column, colour(PLAIN));
    }

    void note(const std::string &name, const Span &span, const std::string &message) const {
        place(name, span);
        fprintf(stderr, "%snote:%s %s\n", colour(CYAN), colour(PLAIN), shown(message).c_str());
    }

    // The source line [start, end) of `span`, a caret under its start and
    // tildes under the rest of it on that line.
    void source(std::string_view text, size_t start, size_t end, const Span &span) const {
        if (end > start && text[end - 1] == '\r') --end;
        const size_t place = std::min(span.offset, end), stop = std::clamp(span.end, place, end);
        size_t shown_start = start, shown_end = end;
        if (end - start > LONG_LINE) {
            if (place - start > WINDOW) shown_start = place - WINDOW;
            if (end - place > WINDOW) shown_end = place + WINDOW;
            while (shown_start < place && is_continuation(text[shown_start])) ++shown_start;
            while (shown_end < end && is_continuation(text[shown_end])) ++shown_end;
        }
        const bool cut_start = shown_start > start, cut_end = shown_end < end;
        std::string line = cut_start ? "..." : "", padding = cut_start ? "   " : "", marks;
        const std::string_view bounded = text.substr(0, shown_end);
        // Mostly printable ASCII, each character one column: shown as it is.
        const std::string_view window = bounded.substr(shown_start);
        if (std::all_of(window.begin(), window.end(),
                        [](char c) { return static_cast<unsigned char>(c) - 0x20u < 0x5Fu; })) {
            line.append(window);
            padding.append(place - shown_start, ' ');
            marks.append("^").append(stop > place + 1 ? stop - place - 1 : 0, '~');
            finish_source(line, padding, marks, cut_end, span.line);
            return;
        }
        char buffer[12];
        for (size_t at = shown_start; at < shown_end;) {
            const size_t here = at;
            const Piece piece = next_shown(bounded, at, true, buffer);
            line.append(piece.bytes);
            if (at <= place && piece.tab)
                padding.push_back('\t');
            else if (at <= place)
                padding.append(static_cast<size_t>(piece.width), ' ');
            else if (marks.empty())
                marks.append("^").append(static_cast<size_t>(std::max(piece.width - 1, 0)), '~');
            else if (here < stop)
                marks.append(static_cast<size_t>(piece.width), '~');
        }
        if (marks.empty()) marks.push_back('^');
        finish_source(line, padding, marks, cut_end, span.line);
    }

    // Writes the source line `line` (numbered `number`) and under it the
    // caret and tildes after `padding`.
    void finish_source(std::string &line, const std::string &padding, const std::string &marks, bool cut_end,
                       size_t number) const {
        if (cut_end) line += "...";
        int width = 5;
        for (size_t digits = number; digits >= 100000; digits /= 10) ++width;
        fprintf(stderr, " %*zu | %s\n %*s | %s%s%s%s\n", width, number, line.c_str(), width, "", padding.c_str(),
                colour(GREEN), marks.c_str(), colour(PLAIN));
    }

    bool colour_;
};

}  // namespace

std::unique_ptr<Output> make_text_output(bool colour) { return std::make_unique<TextOutput>(colour); }

}  // namespace tool

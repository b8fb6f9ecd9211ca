// Findings as GitHub Actions workflow commands, one per finding on standard
// output, which the job's log shows as annotations of the files:
//   ::error file=FILE,line=LINE,col=COLUMN::MESSAGE   (::warning for a warning)
// with the hint and notes after the message. The file name and message go
// through shown(), then are escaped as workflow commands require.
#include <cstdio>

#include "output.h"
#include "terminal.h"

namespace tool {
namespace {

// `text` escaped as the value of a workflow command (`property`: of one of
// its properties, where ':' and ',' separate too). shown() has left no line
// break in it.
std::string escaped(std::string_view text, bool property) {
    std::string out;
    for (char c : shown(text)) {
        if (c == '%')
            out += "%25";
        else if (property && c == ':')
            out += "%3A";
        else if (property && c == ',')
            out += "%2C";
        else
            out += c;
    }
    return out;
}

class GithubOutput final : public Output {
  public:
    bool file(const std::string &label, std::string_view, const Checked &checked) override {
        const std::string file = escaped(label, true);
        for (const Fault &fault : checked.faults)
            printf("::%s file=%s,line=%zu,col=%zu::%s\n", fault.severity == Severity::warning ? "warning" : "error",
                   file.c_str(), fault.span.line, fault.span.column,
                   escaped(message_with_notes(fault, false), false).c_str());
        say_left_out(label, checked);
        return true;
    }

    void failure(const std::string &, const std::string &why) override { say("%s", why.c_str()); }

    bool finish(int) override { return true; }
};

}  // namespace

std::unique_ptr<Output> make_github_output() { return std::make_unique<GithubOutput>(); }

}  // namespace tool

// The files the tool reads, the folders that stand for the files below
// them, and the safe rewriting of format -i. Failures come back as a
// sentence naming the file, for the run's output to report.
#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

// How messages name standard input.
constexpr const char STDIN_LABEL[] = "(standard input)";

struct Input {
    std::string text;  // the bytes before the first NUL byte: all of them when there is none
    bool nul = false;  // the input holds a NUL byte, right after `text`; reading stopped there
};

// Whether `path` names a folder (following symbolic links).
bool is_folder(const char *path);

// Adds to `files` every regular file whose name ends in ".json" below the
// folder `folder` (symbolic links to files included), at any depth, in
// sorted order; as the shell's '*' does, names that start with '.' are
// left out, folders too. Each folder below that cannot be read adds its
// name and why to `failures`.
void add_json_files(const std::string &folder, std::vector<std::string> &files,
                    std::vector<std::pair<std::string, std::string>> &failures);

// A file format -i may rewrite, open for reading (closed with this).
struct Rewritable {
    Rewritable() = default;
    Rewritable(const Rewritable &) = delete;
    Rewritable &operator=(const Rewritable &) = delete;
    ~Rewritable();
    int fd = -1;
    std::string target;  // the file itself: a symbolic link is followed, and stays a link
    struct stat status {};
};

// Reads FILE, or standard input for nullptr, to its end or its first NUL
// byte; for format -i through `rewritable`, which it opens (see
// open_rewritable). Returns false, with `why`, when that failed; memory
// running out throws std::bad_alloc.
bool read_input(const char *path, Rewritable *rewritable, Input &in, std::string &why);

// Opens `path` for format -i. Refuses anything that cannot be replaced by a
// new file without losing something: standard input under any name (the
// same file as descriptor 0), a file that is not a regular one (it is not
// read then), has more than one hard link, or that the user may not write.
// Returns false, with `why`, when it refuses or fails; the file is then
// untouched.
bool open_rewritable(const char *path, Rewritable &file, std::string &why);

// Replaces file.target with `text` and a newline, atomically: the text goes
// into a new file in the same folder, which is given the old file's owner,
// group and mode and then renamed over it, so that a reader sees the old
// file or the new one whole. When the owner or group cannot be given, the
// file is left as it was. A temporary file is removed when SIGINT, SIGTERM
// or SIGHUP arrives (see catch_signals). Returns false, with `why`.
bool replace_file(const char *path, const Rewritable &file, std::string_view text, std::string &why);

// Makes SIGINT, SIGTERM and SIGHUP remove the temporary file of a rewrite
// before they end the tool, with the signal's own status. A signal the tool
// was started ignoring stays ignored.
void catch_signals();

}  // namespace tool

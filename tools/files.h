// The files the tool reads, and the safe rewriting of format -i.
#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

namespace tool {

struct Input {
    std::string text;  // the bytes before the first NUL byte: all of them when there is none
    bool nul = false;  // the input holds a NUL byte, right after `text`; reading stopped there
};

// Reads the file descriptor `fd` to its end, or to its first NUL byte.
// Returns 0, or the errno of the failure.
int read_all(int fd, Input &in);

// A file format -i may rewrite, open for reading (closed with this).
struct Rewritable {
    Rewritable() = default;
    Rewritable(const Rewritable &) = delete;
    Rewritable &operator=(const Rewritable &) = delete;
    ~Rewritable();
    int fd = -1;
    std::string target;  // the file itself: a symbolic link is followed, and stays a link
    struct stat status;
};

// Opens `path` for format -i. Refuses, after a message, anything that cannot
// be replaced by a new file without losing something: a file that is not a
// regular one (it is not read then), has more than one hard link, or that
// the user may not write. Returns false after a message when it refuses or
// fails; the file is then untouched.
bool open_rewritable(const char *path, Rewritable &file);

// Replaces file.target with `text` and a newline, atomically: the text goes
// into a new file in the same folder, which is given the old file's owner,
// group and mode and then renamed over it, so that a reader sees the old
// file or the new one whole. When the owner or group cannot be given, the
// file is left as it was. A temporary file is removed when SIGINT, SIGTERM
// or SIGHUP arrives (see catch_signals). Returns false after a message.
bool replace_file(const char *path, const Rewritable &file, std::string_view text);

// Makes SIGINT, SIGTERM and SIGHUP remove the temporary file of a rewrite
// before they end the tool, with the signal's own status. A signal the tool
// was started ignoring stays ignored.
void catch_signals();

}  // namespace tool

// Reading whole inputs, the files below folders, and the rewriting of
// format -i (see files.h).
#include "files.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace tool {
namespace {

constexpr size_t CHUNK = 65536;
constexpr char TEMP_PATTERN[] = ".jsoncodec-XXXXXX";

// The temporary file of the rewrite under way, for the signal handler: its
// name is complete before temp_live is set, and the signals are blocked
// while either changes.
char temp_path[PATH_MAX + sizeof TEMP_PATTERN];
volatile sig_atomic_t temp_live = 0;
constexpr int CAUGHT[] = {SIGINT, SIGTERM, SIGHUP};

extern "C" void remove_temp_and_end(int signal) {
    if (temp_live != 0) unlink(temp_path);
    // The handler was reset to the default action: the signal raised again
    // ends the tool with its own status.
    raise(signal);
}

// Blocks the caught signals while it lives.
class SignalsHeld {
  public:
    SignalsHeld() {
        sigset_t set;
        sigemptyset(&set);
        for (int signal : CAUGHT) sigaddset(&set, signal);
        sigprocmask(SIG_BLOCK, &set, &old_);
    }
    ~SignalsHeld() { sigprocmask(SIG_SETMASK, &old_, nullptr); }
    SignalsHeld(const SignalsHeld &) = delete;
    SignalsHeld &operator=(const SignalsHeld &) = delete;

  private:
    sigset_t old_;
};

std::string quoted(const char *path) { return std::string("'") + path + "'"; }

bool refuse(const char *path, const char *reason, std::string &why) {
    why = "cannot rewrite " + quoted(path) + ": " + reason + "; it is left untouched";
    return false;
}

bool fail(const char *what, const char *path, int error, std::string &why) {
    why = std::string(what) + " " + quoted(path) + ": " + strerror(error);
    return false;
}

// The tool installs no signal handler that returns (those of format -i end
// it), so neither write() nor read() below is ever interrupted (EINTR).
bool write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        errno = EIO;  // the failure of a write that writes nothing and does not say why
        const ssize_t written = write(fd, text.data(), text.size());
        if (written <= 0) return false;
        text.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

// Reads the file descriptor `fd` to its end, or to its first NUL byte.
// Returns 0, or the errno of the failure; memory running out throws.
int read_all(int fd, Input &in) {
    in = Input{};
    // A regular file is read into a block of its size (and one read more,
    // which sees its end): a block grown by doubling would hold the text
    // twice while it moves.
    struct stat status {};  // fstat() of an open descriptor does not fail
    fstat(fd, &status);
    if (S_ISREG(status.st_mode) && status.st_size > 0) in.text.reserve(static_cast<size_t>(status.st_size) + CHUNK);
    for (;;) {
        const size_t length = in.text.size();
        in.text.resize(length + CHUNK);
        const ssize_t got = read(fd, in.text.data() + length, CHUNK);
        if (got < 0) {
            int error = errno;
            in.text.clear();
            return error;
        }
        const auto size = static_cast<size_t>(got);
        const void *nul = std::memchr(in.text.data() + length, '\0', size);
        if (nul != nullptr) {  // nothing after it is read: /dev/zero stops here
            in.text.resize(static_cast<size_t>(static_cast<const char *>(nul) - in.text.data()));
            in.nul = true;
            return 0;
        }
        in.text.resize(length + size);
        if (got == 0) return 0;
    }
}

// Whether `path` is the same file as standard input.
bool is_standard_input(const char *path) {
    struct stat input, named;
    return fstat(STDIN_FILENO, &input) == 0 && stat(path, &named) == 0 && input.st_dev == named.st_dev &&
           input.st_ino == named.st_ino;
}

}  // namespace

Rewritable::~Rewritable() {
    if (fd >= 0) close(fd);  // opened for reading only: nothing is lost if this fails
}

bool read_input(const char *path, Rewritable *rewritable, Input &in, std::string &why) {
    int error;
    if (rewritable != nullptr) {
        if (!open_rewritable(path, *rewritable, why)) return false;
        error = read_all(rewritable->fd, in);
    } else if (path == nullptr) {
        error = read_all(STDIN_FILENO, in);
    } else {
        const int fd = open(path, O_RDONLY | O_NOCTTY | O_CLOEXEC);
        if (fd < 0) return fail("cannot open", path, errno, why);
        error = read_all(fd, in);
        close(fd);  // opened for reading only: nothing is lost if this fails
    }
    if (error != 0 && path == nullptr) why = std::string("cannot read standard input: ") + strerror(error);
    if (error != 0 && path != nullptr) fail("cannot read", path, error, why);
    return error == 0;
}

bool is_folder(const char *path) {
    struct stat status;
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

void add_json_files(const std::string &folder, std::vector<std::string> &files,
                    std::vector<std::pair<std::string, std::string>> &failures) {
    std::vector<std::string> found, pending{folder};
    while (!pending.empty()) {
        const std::string at = std::move(pending.back());
        pending.pop_back();
        struct CloseDir {
            void operator()(DIR *open) const { closedir(open); }
        };
        const std::unique_ptr<DIR, CloseDir> dir(opendir(at.c_str()));
        if (dir == nullptr) {
            failures.emplace_back(at, "cannot read the folder " + quoted(at.c_str()) + ": " + strerror(errno));
            continue;
        }
        const std::string prefix = at.ends_with('/') ? at : at + '/';
        // readdir() fails only on a stream that is not open.
        while (const dirent *entry = readdir(dir.get())) {
            const std::string_view name = entry->d_name;
            if (name.starts_with('.')) continue;
            // An entry gone since it was listed is neither a folder nor a
            // file (the zeroed status). A link to a folder is not followed,
            // so that no loop of links makes the walk endless.
            struct stat link {};
            struct stat target {};
            fstatat(dirfd(dir.get()), entry->d_name, &link, AT_SYMLINK_NOFOLLOW);
            if (S_ISDIR(link.st_mode)) {
                pending.push_back(prefix + entry->d_name);
            } else if (name.ends_with(".json")) {
                fstatat(dirfd(dir.get()), entry->d_name, &target, 0);
                if (S_ISREG(target.st_mode)) found.push_back(prefix + entry->d_name);
            }
        }
    }
    std::sort(found.begin(), found.end());
    files.insert(files.end(), found.begin(), found.end());
}

bool open_rewritable(const char *path, Rewritable &file, std::string &why) {
    if (is_standard_input(path)) return refuse(path, "it is standard input, which is never rewritten", why);
    const std::unique_ptr<char, decltype(&std::free)> target(realpath(path, nullptr), &std::free);
    // Not blocking: a FIFO is refused, not waited on. The flag does not
    // change how a regular file is read.
    file.fd = target != nullptr ? open(target.get(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC) : -1;
    if (file.fd < 0) return fail("cannot open", path, errno, why);
    fstat(file.fd, &file.status);  // of an open descriptor: it does not fail
    file.target = target.get();
    char reason[128];
    if (!S_ISREG(file.status.st_mode)) return refuse(path, "it is not a regular file", why);
    if (file.status.st_nlink > 1) {
        snprintf(reason, sizeof reason,
                 "it has %ju hard links, and a new file would leave the other names with the old text",
                 static_cast<uintmax_t>(file.status.st_nlink));
        return refuse(path, reason, why);
    }
    if (faccessat(AT_FDCWD, file.target.c_str(), W_OK, AT_EACCESS) != 0) {
        snprintf(reason, sizeof reason, "you may not write it (%s)", strerror(errno));
        return refuse(path, reason, why);
    }
    return true;
}

bool replace_file(const char *path, const Rewritable &file, std::string_view text, std::string &why) {
    // realpath() names start with '/' and are shorter than PATH_MAX, so the
    // folder and the pattern fit temp_path.
    const size_t folder = file.target.rfind('/') + 1;
    int fd;
    {
        SignalsHeld held;
        std::memcpy(temp_path, file.target.data(), folder);
        std::memcpy(temp_path + folder, TEMP_PATTERN, sizeof TEMP_PATTERN);
        fd = mkstemp(temp_path);
        temp_live = fd >= 0;
    }
    if (fd < 0) return fail("cannot rewrite", path, errno, why);
    // The owner first: a change of owner clears the set-user-ID and
    // set-group-ID bits the mode may hold.
    int error = 0;
    const bool owned = fchown(fd, file.status.st_uid, file.status.st_gid) == 0;
    if (!owned || fchmod(fd, file.status.st_mode & 07777) != 0 || !write_all(fd, text) || !write_all(fd, "\n") ||
        fsync(fd) != 0 || close(std::exchange(fd, -1)) != 0)
        error = errno;
    if (fd >= 0) close(fd);  // the new file is removed: nothing is lost if this fails
    {
        SignalsHeld held;
        if (error == 0 && rename(temp_path, file.target.c_str()) != 0) error = errno;
        if (error != 0) unlink(temp_path);
        temp_live = 0;
    }
    if (!owned) {
        char reason[160];
        snprintf(reason, sizeof reason, "its owner and group (%ju:%ju) cannot be given to a new file (%s)",
                 static_cast<uintmax_t>(file.status.st_uid), static_cast<uintmax_t>(file.status.st_gid),
                 strerror(error));
        return refuse(path, reason, why);
    }
    return error == 0 || fail("cannot rewrite", path, error, why);
}

void catch_signals() {
    struct sigaction action {};
    action.sa_handler = remove_temp_and_end;
    action.sa_flags = SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    for (int signal : CAUGHT) sigaddset(&action.sa_mask, signal);
    for (int signal : CAUGHT) {
        struct sigaction old {};
        sigaction(signal, nullptr, &old);  // of a valid signal: it does not fail
        if (old.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
    }
}

}  // namespace tool

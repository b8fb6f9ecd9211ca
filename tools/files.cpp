// Reading whole inputs, and the rewriting of format -i (see files.h).
#include "files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "report.h"

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

void refuse(const char *path, const char *why) {
    fprintf(stderr, "jsoncodec: cannot rewrite '%s': %s; it is left untouched\n", printable(path).c_str(), why);
}

bool write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        ssize_t written = write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written == 0) errno = EIO;
        if (written <= 0) return false;
        text.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

}  // namespace

Rewritable::~Rewritable() {
    if (fd >= 0) close(fd);  // opened for reading only: nothing is lost if this fails
}

int read_all(int fd, Input &in) {
    in = Input{};
    try {
        for (;;) {
            const size_t length = in.text.size();
            in.text.resize(length + CHUNK);
            ssize_t got = read(fd, in.text.data() + length, CHUNK);
            if (got < 0 && errno == EINTR) got = 0;
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
    } catch (const std::bad_alloc &) {
        in.text = std::string();
        return ENOMEM;
    }
}

bool open_rewritable(const char *path, Rewritable &file) {
    const std::unique_ptr<char, decltype(&std::free)> target(realpath(path, nullptr), &std::free);
    // Not blocking: a FIFO is refused, not waited on. The flag does not
    // change how a regular file is read.
    file.fd = target != nullptr ? open(target.get(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC) : -1;
    if (file.fd < 0 || fstat(file.fd, &file.status) != 0) {
        fprintf(stderr, "jsoncodec: cannot open '%s': %s\n", printable(path).c_str(), strerror(errno));
        return false;
    }
    file.target = target.get();
    char why[128];
    if (!S_ISREG(file.status.st_mode)) {
        refuse(path, "it is not a regular file");
    } else if (file.status.st_nlink > 1) {
        snprintf(why, sizeof why, "it has %ju hard links, and a new file would leave the other names with the old text",
                 static_cast<uintmax_t>(file.status.st_nlink));
        refuse(path, why);
    } else if (faccessat(AT_FDCWD, file.target.c_str(), W_OK, AT_EACCESS) != 0) {
        snprintf(why, sizeof why, "you may not write it (%s)", strerror(errno));
        refuse(path, why);
    } else {
        return true;
    }
    return false;
}

bool replace_file(const char *path, const Rewritable &file, std::string_view text) {
    const size_t folder = file.target.rfind('/') + 1;  // realpath() names start with '/'
    if (folder + sizeof TEMP_PATTERN > sizeof temp_path) {
        fprintf(stderr, "jsoncodec: cannot rewrite '%s': %s\n", printable(path).c_str(), strerror(ENAMETOOLONG));
        return false;
    }
    int fd;
    {
        SignalsHeld held;
        std::memcpy(temp_path, file.target.data(), folder);
        std::memcpy(temp_path + folder, TEMP_PATTERN, sizeof TEMP_PATTERN);
        fd = mkstemp(temp_path);
        temp_live = fd >= 0;
    }
    if (fd < 0) {
        fprintf(stderr, "jsoncodec: cannot rewrite '%s': %s\n", printable(path).c_str(), strerror(errno));
        return false;
    }
    // The owner first: a change of owner clears the set-user-ID and
    // set-group-ID bits the mode may hold.
    int error = 0;
    const bool owned = fchown(fd, file.status.st_uid, file.status.st_gid) == 0;
    if (!owned || fchmod(fd, file.status.st_mode & 07777) != 0 || !write_all(fd, text) || !write_all(fd, "\n") ||
        fsync(fd) != 0)
        error = errno;
    if (close(fd) != 0 && error == 0) error = errno;
    {
        SignalsHeld held;
        if (error == 0 && rename(temp_path, file.target.c_str()) != 0) error = errno;
        if (error != 0) unlink(temp_path);
        temp_live = 0;
    }
    if (!owned) {
        char why[160];
        snprintf(why, sizeof why, "its owner and group (%ju:%ju) cannot be given to a new file (%s)",
                 static_cast<uintmax_t>(file.status.st_uid), static_cast<uintmax_t>(file.status.st_gid),
                 strerror(error));
        refuse(path, why);
    } else if (error != 0) {
        fprintf(stderr, "jsoncodec: cannot rewrite '%s': %s\n", printable(path).c_str(), strerror(error));
    }
    return error == 0;
}

void catch_signals() {
    struct sigaction action {};
    action.sa_handler = remove_temp_and_end;
    action.sa_flags = SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    for (int signal : CAUGHT) sigaddset(&action.sa_mask, signal);
    for (int signal : CAUGHT) {
        struct sigaction old {};
        if (sigaction(signal, nullptr, &old) == 0 && old.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
    }
}

}  // namespace tool

#include "PlainFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <system_error>

namespace qkz {
namespace {

using std::filesystem::path;
using Bytes = std::span<const std::uint8_t>;
using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

std::string systemError() { return std::generic_category().message(errno); }

/// A file that is read from its beginning, no further than is asked for.
class Input {
 public:
    explicit Input(const path& file) : file_(file), in_(fdopen(openToRead(file), "rb"), &std::fclose) {}
    /// The first bytes; fewer than `count` where the file ends.
    Bytes first(std::size_t count) {
        struct stat status {};
        if (fstat(fileno(in_.get()), &status) == 0 && status.st_size > 0)
            bytes_.reserve(std::min(count, static_cast<std::size_t>(status.st_size) + 1));
        while (bytes_.size() < count) {
            const std::size_t have = bytes_.size(), step = std::min<std::size_t>(count - have, 1 << 18);
            bytes_.resize(have + step);
            const std::size_t got = std::fread(&bytes_[have], 1, step, in_.get());
            bytes_.resize(have + got);
            if (std::ferror(in_.get())) fail(file_, systemError());
            if (got < step) break;
        }
        return bytes_;
    }
    std::vector<std::uint8_t> all(std::uint64_t most) {
        if (first(most + 1).size() > most) fail(file_, "is longer than " + std::to_string(most) + " bytes");
        return std::move(bytes_);
    }

 private:
    const path file_;
    const Stream in_;
    std::vector<std::uint8_t> bytes_;
};

/// Null, with errno set, where the file cannot be opened.
Stream openToWrite(const path& file, int flags, mode_t mode = 0) {
    const int descriptor = open(file.c_str(), O_WRONLY | O_CLOEXEC | flags, mode);
    return {descriptor < 0 ? nullptr : fdopen(descriptor, "wb"), &std::fclose};
}

/// Whether all of it has arrived; on the disk, where there is one (a pipe, say, cannot be synchronised).
bool written(std::FILE* out, const void* bytes, std::size_t count) {
    return out && std::fwrite(bytes, 1, count, out) == count && std::fflush(out) == 0 &&
           (fsync(fileno(out)) == 0 || errno == EINVAL || errno == EROFS);
}

void writeAndClose(Stream out, const path& file, const void* bytes, std::size_t count) {
    if (!written(out.get(), bytes, count) || std::fclose(out.release()) != 0) fail(file, systemError());
}

/// The first of some names in a folder with which `make` does not meet a file; empty, with errno set, where
/// it fails.
template <class Make>
path newName(const path& folder, Make make) {
    for (int number = 0;; ++number) {
        path name = folder / (".qkz-" + std::to_string(getpid()) + '-' + std::to_string(number));
        if (make(name)) return name;
        if (errno != EEXIST) return {};
    }
}

std::string nameOf(const path& file) {
    return file == "-" ? "standard input or output" : file.empty() ? "the empty name" : file.string();
}

}  // namespace

void fail(const path& file, const std::string& reason) {
    throw std::runtime_error(nameOf(file) + ": " + reason);
}

int openToRead(const path& file) {
    const int descriptor =
        file == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0) : open(file.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (descriptor < 0 || fstat(descriptor, &status) != 0) fail(file, systemError());
    if (!S_ISDIR(status.st_mode)) return descriptor;
    close(descriptor);
    errno = EISDIR;
    fail(file, systemError());
}

void Limits::check(const path& file, std::uint64_t width, std::uint64_t height) const {
    if (width > side || height > side)
        fail(file, "a side is longer than " + std::to_string(side) + " pixels");
    if (width * height <= pixels) return;
    throw TooManyPixels(nameOf(file) + ": " + std::to_string(width) + " x " + std::to_string(height) +
                        " pixels are more than " + std::to_string(pixels));
}

std::vector<std::uint8_t> readFile(const path& file, std::uint64_t most) { return Input(file).all(most); }

void writeFile(const path& file, const void* bytes, std::size_t count) {
    if (file == "-") {
        Stream out(fdopen(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0), "wb"), &std::fclose);
        return writeAndClose(std::move(out), file, bytes, count);
    }
    Stream existing = openToWrite(file, 0);
    if (!existing && (errno != ENOENT || !file.has_filename())) fail(file, systemError());
    struct stat old {};
    if (existing && fstat(fileno(existing.get()), &old) != 0) fail(file, systemError());
    if (existing && !S_ISREG(old.st_mode)) return writeAndClose(std::move(existing), file, bytes, count);

    path target = file;  // where the links lead, be there a file or not
    while (std::filesystem::is_symlink(target))
        target = target.parent_path() / std::filesystem::read_symlink(target);
    const path folder = target.has_parent_path() ? target.parent_path() : ".";
    const mode_t mode = existing ? old.st_mode & 0777 : 0666;
    // It has no name before it is whole, so that nothing is left of an interrupted one; where the file system
    // knows no such files it has another name.
    Stream out = openToWrite(folder, O_TMPFILE, mode);
    path temporary;
    if (!out) {
        temporary = newName(folder, [&](const path& name) {
            out = openToWrite(name, O_CREAT | O_EXCL, mode);
            return out != nullptr;
        });
    }
    if (!out) fail(file, systemError());
    try {
        if (existing) {
            // Only root may give a file away; otherwise it becomes the user's own.
            [[maybe_unused]] const int given = fchown(fileno(out.get()), old.st_uid, old.st_gid);
            if (fchmod(fileno(out.get()), old.st_mode & 07777) != 0) fail(file, systemError());
        }
        if (!written(out.get(), bytes, count)) fail(file, systemError());
        if (temporary.empty()) {
            const std::string nameless = "/proc/self/fd/" + std::to_string(fileno(out.get()));
            temporary = newName(folder, [&](const path& name) {
                return linkat(AT_FDCWD, nameless.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
            });
        }
        if (temporary.empty() || std::fclose(out.release()) != 0 ||
            std::rename(temporary.c_str(), target.c_str()) != 0) {
            fail(file, systemError());
        }
    } catch (...) {
        unlink(temporary.c_str());
        throw;
    }
}

std::vector<std::uint8_t> readPacked(const path& file, const Limits& limits) {
    Input in(file);
    const Bytes header = in.first(16);
    if (header.size() < 16 || std::memcmp(header.data(), "PPIC", 4) != 0) fail(file, "not a packed picture");
    const auto number = [&](std::size_t at) {
        std::uint64_t value = 0;
        for (std::size_t i = at; i < at + 4; ++i) value = value << 8 | header[i];
        return value;
    };
    const std::uint64_t length = number(4), width = number(8), height = number(12);
    limits.check(file, width, height);
    if (length < width * height * 3) {
        fail(file, "too short for " + std::to_string(width) + " x " + std::to_string(height) + " pixels");
    }
    return in.all(std::min(length, limits.bytes()));
}

}  // namespace qkz

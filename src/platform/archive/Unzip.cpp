#include "platform/archive/Unzip.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

namespace ombrel::platform {

namespace fs = std::filesystem;

namespace {

struct ReadCloser {
    void operator()(archive* a) const { archive_read_free(a); }
};
struct WriteCloser {
    void operator()(archive* a) const { archive_write_free(a); }
};

std::vector<std::string> Components(const std::string& path) {
    std::vector<std::string> parts;
    size_t start = 0;
    while (start <= path.size()) {
        const size_t slash = path.find('/', start);
        const std::string part = path.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        if (!part.empty() && part != ".") parts.push_back(part);
        if (slash == std::string::npos) break;
        start = slash + 1;
    }
    return parts;
}

// Why a member's name may not be written, or empty when it may.
std::string NameRefusal(const std::string& name) {
    if (name.empty()) return "an empty name";
    if (name[0] == '/') return "an absolute name";
    for (const auto& part : Components(name))
        if (part == "..") return "a name with \"..\"";
    if (Components(name).empty()) return "an empty name";
    return {};
}

// A link's target, read from the folder of the link, must stay inside the archive's folder.
bool LinkStaysInside(const std::string& linkName, const std::string& target) {
    if (target.empty() || target[0] == '/') return false;
    auto parts = Components(linkName);
    if (!parts.empty()) parts.pop_back();
    long depth = static_cast<long>(parts.size());
    for (const auto& part : Components(target)) {
        depth += part == ".." ? -1 : 1;
        if (depth < 0) return false;
    }
    return true;
}

// A hidden folder beside the destination, removed with what it holds unless released.
class Scratch {
public:
    Status Make(const std::string& parent) {
        std::string templ = parent + "/.ombrel-unzip-XXXXXX";
        if (!mkdtemp(templ.data())) return SystemError("cannot make a folder in", parent, errno);
        path_ = templ;
        return OkStatus();
    }
    ~Scratch() {
        std::error_code ec;
        if (!path_.empty()) fs::remove_all(path_, ec);
    }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

Status Refuse(const std::string& archive, const std::string& text) {
    return InvalidError("archive " + archive + ": " + text + "; nothing unpacked");
}

}  // namespace

Status UnzipArchive(const std::string& archivePath, const std::string& destination, UnzipResult* result,
                    const UnzipLimits& limits) {
    std::error_code ec;
    // The secure-symlink check walks the whole path, so the folder is named without links.
    const fs::path dest = fs::canonical(destination, ec);
    if (ec) return SystemError("cannot find the folder", destination, ec.value());
    Scratch scratch;
    if (Status s = scratch.Make(dest.string()); !s.ok()) return s;

    std::unique_ptr<archive, ReadCloser> in(archive_read_new());
    archive_read_support_format_zip(in.get());
    if (archive_read_open_filename(in.get(), archivePath.c_str(), 64 * 1024) != ARCHIVE_OK)
        return Refuse(archivePath, std::string("not a zip archive (") + archive_error_string(in.get()) + ")");
    std::unique_ptr<archive, WriteCloser> out(archive_write_disk_new());
    archive_write_disk_set_options(out.get(), ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_SECURE_SYMLINKS |
                                                  ARCHIVE_EXTRACT_SECURE_NODOTDOT);

    UnzipResult counts;
    archive_entry* entry = nullptr;
    for (;;) {
        const int rc = archive_read_next_header(in.get(), &entry);
        if (rc == ARCHIVE_EOF) break;
        if (rc < ARCHIVE_WARN)
            return Refuse(archivePath, std::string("damaged (") + archive_error_string(in.get()) + ")");
        if (++counts.entries > limits.maxEntries)
            return Refuse(archivePath, "more than " + std::to_string(limits.maxEntries) + " entries");
        const std::string name = archive_entry_pathname(entry) ? archive_entry_pathname(entry) : "";
        if (std::string why = NameRefusal(name); !why.empty())
            return Refuse(archivePath, "entry \"" + name + "\" has " + why);
        const mode_t type = archive_entry_filetype(entry);
        if (type != AE_IFREG && type != AE_IFDIR && type != AE_IFLNK)
            return Refuse(archivePath, "entry \"" + name + "\" is neither a file, a folder nor a link");
        if (type == AE_IFLNK) {
            const char* target = archive_entry_symlink(entry);
            if (!LinkStaysInside(name, target ? target : ""))
                return Refuse(archivePath, "entry \"" + name + "\" links out of the folder");
        }
        if (const char* hard = archive_entry_hardlink(entry)) {
            if (std::string why = NameRefusal(hard); !why.empty())
                return Refuse(archivePath, "entry \"" + name + "\" links out of the folder");
            archive_entry_set_hardlink(entry, (scratch.path() + "/" + hard).c_str());
        }
        archive_entry_set_pathname(entry, (scratch.path() + "/" + name).c_str());
        if (archive_write_header(out.get(), entry) < ARCHIVE_WARN)
            return Refuse(archivePath, "entry \"" + name + "\" cannot be written (" +
                                           archive_error_string(out.get()) + ")");
        const void* block = nullptr;
        size_t size = 0;
        la_int64_t offset = 0;
        for (;;) {
            const int r = archive_read_data_block(in.get(), &block, &size, &offset);
            if (r == ARCHIVE_EOF) break;
            if (r < ARCHIVE_WARN)
                return Refuse(archivePath, "entry \"" + name + "\" is damaged (" + archive_error_string(in.get()) + ")");
            counts.bytes += size;
            if (counts.bytes > limits.maxBytes)
                return Refuse(archivePath, "more than " + std::to_string(limits.maxBytes) + " bytes unpacked");
            if (archive_write_data_block(out.get(), block, size, offset) < ARCHIVE_WARN)
                return Refuse(archivePath, "entry \"" + name + "\" cannot be written (" +
                                               archive_error_string(out.get()) + ")");
        }
        if (archive_write_finish_entry(out.get()) < ARCHIVE_WARN)
            return Refuse(archivePath, "entry \"" + name + "\" cannot be finished (" +
                                           archive_error_string(out.get()) + ")");
    }
    if (archive_write_close(out.get()) < ARCHIVE_WARN)
        return Refuse(archivePath, std::string("cannot be finished (") + archive_error_string(out.get()) + ")");

    // All unpacked: now the top-level entries take their places.
    std::vector<std::string> names;
    for (const auto& item : fs::directory_iterator(scratch.path(), ec)) {
        const std::string name = item.path().filename().string();
        if (name != "__MACOSX") names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    for (const auto& name : names) {
        const fs::path target = dest / name;
        const fs::path aside = fs::path(scratch.path()) / (".replaced-" + name);
        const bool existed = fs::exists(fs::symlink_status(target, ec));
        if (existed) {
            fs::rename(target, aside, ec);
            if (ec) return SystemError("cannot move aside", target.string(), ec.value());
        }
        fs::rename(fs::path(scratch.path()) / name, target, ec);
        if (ec) {
            const int err = ec.value();
            if (existed) fs::rename(aside, target, ec);
            return SystemError("cannot move into place", target.string(), err);
        }
        counts.placed.push_back(name);
    }
    if (result) *result = std::move(counts);
    return OkStatus();
}

}  // namespace ombrel::platform

#include "support/ZipMaker.h"

#include <archive.h>
#include <archive_entry.h>

namespace ombrel::test {

bool MakeZip(const std::string& path, const std::vector<ZipMember>& members) {
    archive* a = archive_write_new();
    bool ok = archive_write_set_format_zip(a) == ARCHIVE_OK && archive_write_open_filename(a, path.c_str()) == ARCHIVE_OK;
    for (const auto& m : members) {
        if (!ok) break;
        archive_entry* e = archive_entry_new();
        archive_entry_set_pathname(e, m.name.c_str());
        switch (m.kind) {
            case ZipMember::kFile:
                archive_entry_set_filetype(e, AE_IFREG);
                archive_entry_set_perm(e, 0644);
                archive_entry_set_size(e, static_cast<la_int64_t>(m.data.size()));
                break;
            case ZipMember::kFolder:
                archive_entry_set_filetype(e, AE_IFDIR);
                archive_entry_set_perm(e, 0755);
                break;
            case ZipMember::kSymlink:
                archive_entry_set_filetype(e, AE_IFLNK);
                archive_entry_set_perm(e, 0777);
                archive_entry_set_symlink(e, m.data.c_str());
                break;
        }
        ok = archive_write_header(a, e) == ARCHIVE_OK;
        if (ok && m.kind == ZipMember::kFile && !m.data.empty())
            ok = archive_write_data(a, m.data.data(), m.data.size()) == static_cast<la_ssize_t>(m.data.size());
        archive_entry_free(e);
    }
    ok = archive_write_close(a) == ARCHIVE_OK && ok;
    archive_write_free(a);
    return ok;
}

}  // namespace ombrel::test

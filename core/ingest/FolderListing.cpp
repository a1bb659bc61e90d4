#include "ingest/FolderListing.h"

#include "base/FileIo.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <dirent.h>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace vantor::FolderListing {

namespace {

struct Folder;

struct Item {
    std::string name; // short names stay in the string itself: no allocation per file
    mode_t type = 0;
    qint64 size = 0;
    timespec modified{};
    std::unique_ptr<Folder> folder; // set for subfolders
};

struct Folder {
    QByteArray relative; // below the listed folder; empty for the listed folder itself
    std::vector<Item> items;
};

// A folder's contents continue its path with a slash, so it sorts as its name plus "/": then
// walking each folder's sorted items in turn gives the byte order of the whole paths.
bool before(const Item &a, const Item &b)
{
    const std::size_t common = std::min(a.name.size(), b.name.size());
    if (const int order = std::memcmp(a.name.data(), b.name.data(), common); order != 0)
        return order < 0;
    if (a.name.size() == b.name.size())
        return false;
    if (a.name.size() < b.name.size())
        return !a.folder || '/' < static_cast<unsigned char>(b.name[common]);
    return b.folder && static_cast<unsigned char>(a.name[common]) < '/';
}

[[noreturn]] void throwAt(int code, const QByteArray &path)
{
    // The system's own error, naming where it happened.
    throw std::system_error(code, std::generic_category(), path.toStdString());
}

// Reads folders from a shared list on a few threads until every folder has been read or one
// has failed. Folders are opened from the listed folder's descriptor, never through a link.
class Walk {
public:
    Walk(int root, const QByteArray &rootPath) : m_root(root), m_rootPath(rootPath) {}

    void run(Folder &top)
    {
        m_waiting.push_back(&top);
        {
            const unsigned threads = std::clamp(std::thread::hardware_concurrency(), 1u, 4u);
            std::vector<std::jthread> helpers;
            for (unsigned index = 1; index < threads; ++index)
                helpers.emplace_back([this] { work(); });
            work();
        }
        if (m_error)
            std::rethrow_exception(m_error);
    }

private:
    QByteArray pathOf(const QByteArray &relative) const
    {
        return relative.isEmpty() ? m_rootPath : m_rootPath + '/' + relative;
    }

    void work()
    {
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_changed.wait(lock, [this] { return !m_waiting.empty() || m_reading == 0 || m_error; });
            if (m_error || m_waiting.empty()) {
                m_changed.notify_all();
                return;
            }
            Folder *folder = m_waiting.back();
            m_waiting.pop_back();
            ++m_reading;
            lock.unlock();
            try {
                read(*folder);
            } catch (...) {
                lock.lock();
                if (!m_error)
                    m_error = std::current_exception();
                --m_reading;
                continue;
            }
            lock.lock();
            --m_reading;
            for (Item &item : folder->items) {
                if (item.folder)
                    m_waiting.push_back(item.folder.get());
            }
            m_changed.notify_all();
        }
    }

    void read(Folder &folder)
    {
        FileIo::UniqueFd descriptor;
        try {
            descriptor = folder.relative.isEmpty() ? FileIo::UniqueFd(::dup(m_root))
                                                   : FileIo::openBeneath(m_root, folder.relative, O_RDONLY | O_DIRECTORY);
        } catch (const std::system_error &error) {
            throwAt(error.code().value(), pathOf(folder.relative));
        }
        if (!descriptor.valid())
            throwAt(errno, pathOf(folder.relative));
        const int fd = descriptor.get();
        const std::unique_ptr<DIR, int (*)(DIR *)> listing(::fdopendir(fd), &::closedir);
        if (!listing)
            throwAt(errno, pathOf(folder.relative));
        descriptor.release(); // now closed with the listing

        for (;;) {
            errno = 0;
            const dirent *entry = ::readdir(listing.get());
            if (!entry) {
                if (errno != 0)
                    throwAt(errno, pathOf(folder.relative));
                break;
            }
            if (entry->d_name[0] == '.') // hidden, and "." and ".."
                continue;
            Item item;
            item.name = entry->d_name;
            // The listing's type spares a stat for folders and links, which need nothing more.
            if (entry->d_type == DT_DIR) {
                item.type = S_IFDIR;
            } else if (entry->d_type == DT_LNK) {
                item.type = S_IFLNK;
            } else {
                struct stat info {};
                if (::fstatat(fd, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0)
                    throwAt(errno, pathOf(childPath(folder, item.name)));
                item.type = info.st_mode & S_IFMT;
                item.size = qint64(info.st_size);
                item.modified = info.st_mtim;
            }
            if (S_ISDIR(item.type))
                item.folder = std::make_unique<Folder>(Folder{childPath(folder, item.name), {}});
            folder.items.push_back(std::move(item));
        }
        std::sort(folder.items.begin(), folder.items.end(), before);
    }

    static QByteArray childPath(const Folder &folder, const std::string &name)
    {
        const QByteArray bytes(name.data(), qsizetype(name.size()));
        return folder.relative.isEmpty() ? bytes : folder.relative + '/' + bytes;
    }

    const int m_root;
    const QByteArray m_rootPath;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Folder *> m_waiting;
    int m_reading = 0;
    std::exception_ptr m_error;
};

void flatten(const Folder &folder, const QByteArray &path, std::vector<Entry> &entries)
{
    for (const Item &item : folder.items) {
        QByteArray itemPath = path;
        itemPath += '/';
        itemPath.append(item.name.data(), qsizetype(item.name.size()));
        if (item.folder)
            flatten(*item.folder, itemPath, entries);
        else
            entries.push_back({std::move(itemPath), item.type, item.size, item.modified});
    }
}

} // namespace

std::vector<Entry> list(int folder, const QByteArray &folderPath)
{
    Folder top;
    Walk(folder, folderPath).run(top);
    std::vector<Entry> entries;
    flatten(top, folderPath, entries);
    return entries;
}

} // namespace vantor::FolderListing

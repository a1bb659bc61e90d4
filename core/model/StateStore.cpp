#include "model/StateStore.h"

#include "model/AtomicFile.h"
#include "model/FileIo.h"
#include "model/JsonCodec.h"

#include <QStandardPaths>
#include <cerrno>

namespace vantor::StateStore {

namespace {

QString statePath(const QString &directory)
{
    return directory + QLatin1Char('/') + QLatin1String(fileName);
}

QByteArray readWhole(int fd)
{
    QByteArray data;
    const struct stat info = FileIo::fstat(fd);
    data.reserve(qsizetype(info.st_size) + 1);
    char buffer[65536];
    while (const std::size_t got = FileIo::read(fd, buffer, sizeof buffer))
        data.append(buffer, qsizetype(got));
    return data;
}

} // namespace

QString directory()
{
    const QByteArray redirected = qgetenv("VANTOR_SUPPORT_DIR");
    if (!redirected.isEmpty())
        return QString::fromLocal8Bit(redirected);
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Vantor");
}

AppState load(const QString &directory)
{
    FileIo::UniqueFd file;
    try {
        file = FileIo::open(statePath(directory), O_RDONLY);
    } catch (const std::system_error &error) {
        if (error.code().value() == ENOENT)
            return AppState::fresh();
        throw;
    }
    return decode(readWhole(file.get()));
}

void save(const AppState &state, const QString &directory)
{
    const QByteArray data = encode(state);
    AtomicFile::makeFolders(directory);
    AtomicFile::replace(statePath(directory), data);
}

QByteArray encode(const AppState &state)
{
    return JsonCodec::pretty(state.toJson());
}

AppState decode(const QByteArray &data)
{
    return AppState::fromJson(JsonCodec::parse(data));
}

} // namespace vantor::StateStore

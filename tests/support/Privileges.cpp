#include "Privileges.h"

#include <QDir>
#include <QFile>
#include <linux/capability.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vantor::test {

namespace {

constexpr unsigned overrideBits = (1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH);

bool capabilities(__user_cap_data_struct (&data)[2], bool set)
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0}; // 0: the calling thread
    return ::syscall(set ? SYS_capset : SYS_capget, &header, data) == 0;
}

} // namespace

ObeyFilePermissions::ObeyFilePermissions()
{
    __user_cap_data_struct data[2]{};
    if (!capabilities(data, false) || (data[0].effective & overrideBits) == 0)
        return;
    m_effective[0] = data[0].effective;
    m_effective[1] = data[1].effective;
    data[0].effective &= ~overrideBits;
    m_changed = capabilities(data, true);
}

ObeyFilePermissions::~ObeyFilePermissions()
{
    if (!m_changed)
        return;
    __user_cap_data_struct data[2]{};
    if (capabilities(data, false)) {
        data[0].effective = m_effective[0];
        data[1].effective = m_effective[1];
        capabilities(data, true);
    }
}

ScratchVolume::ScratchVolume(const QString &path, long bytes) : m_path(path)
{
    QDir().mkpath(path);
    const QByteArray options = "size=" + QByteArray::number(qlonglong(bytes)) + ",mode=0700";
    m_mounted = ::mount("tmpfs", QFile::encodeName(path).constData(), "tmpfs", 0, options.constData()) == 0;
}

ScratchVolume::~ScratchVolume()
{
    if (m_mounted)
        ::umount2(QFile::encodeName(m_path).constData(), MNT_DETACH);
}

} // namespace vantor::test

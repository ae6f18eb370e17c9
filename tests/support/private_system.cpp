#include "private_system.h"

#include <QFile>

#include <cerrno>
#include <cstring>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool write(const char *path, const QByteArray &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

/** Makes the process root of a user namespace, where it may make the other ones. */
bool becomeRoot()
{
    const QByteArray user = QByteArray::number(getuid());
    const QByteArray group = QByteArray::number(getgid());
    return unshare(CLONE_NEWUSER) == 0 && write("/proc/self/setgroups", "deny")
        && write("/proc/self/uid_map", "0 " + user + " 1")
        && write("/proc/self/gid_map", "0 " + group + " 1");
}

/** Lays a changeable folder over /usr/share; changes go to @p folder, in memory. */
bool coverUsrShare(const QByteArray &folder)
{
    const QByteArray upper = folder + "/upper";
    const QByteArray work = folder + "/work";
    const QByteArray options = "lowerdir=/usr/share,upperdir=" + upper + ",workdir=" + work;
    return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0
        && mount("tmpfs", folder.constData(), "tmpfs", 0, nullptr) == 0
        && mkdir(upper.constData(), 0755) == 0 && mkdir(work.constData(), 0755) == 0
        && mount("overlay", "/usr/share", "overlay", 0, options.constData()) == 0;
}

} // namespace

QString PrivateSystem::refusal;

PrivateSystem::PrivateSystem()
{
    const bool entered = (geteuid() == 0 || becomeRoot())
        && unshare(CLONE_NEWNS | CLONE_NEWNET) == 0
        && coverUsrShare(QFile::encodeName(m_folder.path()));
    if (!entered)
        refusal = QString::fromLocal8Bit(strerror(errno));
}

PrivateSystem::~PrivateSystem()
{
    if (!refusal.isEmpty())
        return;
    umount2("/usr/share", MNT_DETACH);
    umount2(QFile::encodeName(m_folder.path()).constData(), MNT_DETACH);
}

void PrivateSystem::require()
{
    if (refusal.isEmpty())
        return;
    if (qEnvironmentVariableIsSet("CI"))
        QFAIL(qPrintable(refusal));
    QSKIP(qPrintable("this machine allows no namespaces: " + refusal));
}

void PrivateSystem::renewNetwork()
{
    if (unshare(CLONE_NEWNET) != 0)
        qFatal("no further network: %s", strerror(errno));
}

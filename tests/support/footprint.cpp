#include "footprint.h"

#include <QDir>
#include <QFile>
#include <QObject>

#include <malloc.h>
#include <unistd.h>

namespace {

int residentKilobytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(file.fileName()));
    // In pages: the whole size, then what is resident.
    const int pages = file.readAll().split(' ').at(1).toInt();
    return static_cast<int>(pages * (::sysconf(_SC_PAGESIZE) / 1024));
}

int allocatedKilobytes()
{
    const struct mallinfo2 heap = ::mallinfo2();
    return static_cast<int>((heap.uordblks + heap.hblkhd) / 1024);
}

} // namespace

Footprint::Footprint(std::initializer_list<const QObject *> parents)
    : descriptors(openDescriptors())
    , residentKilobytes(::residentKilobytes())
    , allocatedKilobytes(::allocatedKilobytes())
{
    for (const QObject *parent : parents)
        objects += parent->findChildren<QObject *>().size();
}

int Footprint::openDescriptors()
{
    const QDir descriptors(QStringLiteral("/proc/self/fd"));
    const QDir::Filters everything = QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot;
    // One of them is the directory itself, open while it is read.
    return descriptors.entryList(everything).size() - 1;
}

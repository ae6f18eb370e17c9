#include "footprint.h"

#include <QDir>
#include <QFile>
#include <QObject>

#include <malloc.h>
#include <unistd.h>

int Footprint::openDescriptors()
{
    const QDir descriptors(QStringLiteral("/proc/self/fd"));
    const QDir::Filters everything = QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot;
    // One of them is the directory itself, open while it is read.
    return descriptors.entryList(everything).size() - 1;
}

int Footprint::residentKilobytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(file.fileName()));
    // In pages: the whole size, then what is resident.
    const int pages = file.readAll().split(' ').at(1).toInt();
    return static_cast<int>(pages * (::sysconf(_SC_PAGESIZE) / 1024));
}

int Footprint::allocatedKilobytes()
{
    const struct mallinfo2 heap = ::mallinfo2();
    return static_cast<int>((heap.uordblks + heap.hblkhd) / 1024);
}

int Footprint::objectsBelow(const QObject &object)
{
    return object.findChildren<QObject *>().size();
}

#include "startup.h"

#include "clock.h"
#include "mainwindow.h"

#include <QApplication>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <algorithm>
#include <cstdio>
#include <vector>

const char startupArgument[] = "--one-startup";

namespace {

constexpr int startups = 11;

/** Returns the kilobytes that /proc gives for @p entry of this process. */
long memory(const QByteArray &entry)
{
    QFile status("/proc/self/status");
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(entry + ':'))
            return line.mid(entry.size() + 1).simplified().split(' ').constFirst().toLong();
    }
    return 0;
}

} // namespace

void measureStartup()
{
    std::vector<double> milliseconds;
    QList<QByteArray> fields;
    for (int i = 0; i < startups; ++i) {
        QProcess process;
        const int64_t begin = nanoseconds(CLOCK_MONOTONIC);
        process.start(QCoreApplication::applicationFilePath(), {startupArgument});
        process.waitForFinished();
        fields = process.readAllStandardOutput().simplified().split(' ');
        milliseconds.push_back(static_cast<double>(fields.at(0).toLongLong() - begin) / 1e6);
    }
    std::sort(milliseconds.begin(), milliseconds.end());
    std::printf("start to shown window: median %.0f ms, worst %.0f ms of %d\n",
                milliseconds[startups / 2], milliseconds.back(), startups);
    std::printf("resident memory: %.1f MB, of it %.1f MB not shared with files\n",
                fields.at(1).toDouble() / 1024, fields.at(2).toDouble() / 1024);
}

int runStartup()
{
    MainWindow window;
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        return 1;
    std::printf("%lld %ld %ld\n", static_cast<long long>(nanoseconds(CLOCK_MONOTONIC)),
                memory("VmRSS"), memory("RssAnon"));
    return 0;
}

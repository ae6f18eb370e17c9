// Gives the simulator's capture reader files from strangers. What it returns has to keep its
// promise: frames that a radio can send, or one line that names the file.

#include "fuzzer.h"
#include "traffic.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <sys/mman.h>
#include <unistd.h>

using Simulator::Traffic;

namespace {

/** A file in memory with a path, whose content is replaced for every input. */
class MemoryFile
{
public:
    MemoryFile()
        : m_descriptor(::memfd_create("capture", MFD_CLOEXEC))
    { }
    ~MemoryFile() { ::close(m_descriptor); }
    Q_DISABLE_COPY(MemoryFile)

    QString path() const { return QStringLiteral("/proc/self/fd/%1").arg(m_descriptor); }

    bool replace(const uint8_t *data, size_t size)
    {
        return ::ftruncate(m_descriptor, 0) == 0
            && ::pwrite(m_descriptor, data, size, 0) == static_cast<ssize_t>(size);
    }

private:
    int m_descriptor;
};

bool canBeSent(const QByteArray &frame)
{
    return frame.size() <= Traffic::largestFrame;
}

bool keepsPromise(const std::optional<Traffic> &traffic, const QString &error, const QString &path)
{
    if (traffic) {
        const QVector<QByteArray> &frames = traffic->frames();
        return error.isEmpty() && !frames.isEmpty()
            && std::all_of(frames.begin(), frames.end(), canBeSent);
    }
    return error.startsWith(path) && !error.contains(QLatin1Char('\n'));
}

} // namespace

int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static MemoryFile file;
    static const QString path = file.path();
    if (!file.replace(data, size))
        return -1;
    QString error;
    const auto traffic = Traffic::fromPcap(path, &error);
    if (!keepsPromise(traffic, error, path)) {
        std::fprintf(stderr, "Read %d frames, with the error: %s\n",
                     traffic ? traffic->frames().size() : -1, qPrintable(error));
        std::abort();
    }
    return 0;
}

#include "traffic.h"

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <pcap/pcap.h>
#include <sys/stat.h>

namespace Simulator {

namespace {

using Capture = std::unique_ptr<pcap_t, decltype(&::pcap_close)>;

// Opened here rather than by libpcap, to tell a missing file from a strange one.
FILE *openFile(const QString &path, QString *problem)
{
    FILE *file = std::fopen(QFile::encodeName(path).constData(), "rbe");
    struct stat status
    { };
    if (file != nullptr && ::fstat(::fileno(file), &status) == 0 && S_ISDIR(status.st_mode)) {
        std::fclose(file);
        file = nullptr;
        errno = EISDIR;
    }
    if (file == nullptr)
        *problem =
            QStringLiteral("cannot be read: %1").arg(QString::fromLocal8Bit(std::strerror(errno)));
    return file;
}

Capture openCapture(const QString &path, QString *problem)
{
    Capture capture(nullptr, &::pcap_close);
    if (FILE *file = openFile(path, problem)) {
        char details[PCAP_ERRBUF_SIZE] = "";
        capture.reset(::pcap_fopen_offline(file, details));
        if (!capture) {
            std::fclose(file);
            *problem = QStringLiteral("is no pcap or pcapng capture");
        }
    }
    return capture;
}

QString linkTypeName(int linkType)
{
    const char *name = ::pcap_datalink_val_to_name(linkType);
    return QStringLiteral("%1 (%2)")
        .arg(QLatin1String(name != nullptr ? name : "unknown"))
        .arg(linkType);
}

std::optional<QVector<QByteArray>> readFrames(pcap_t *capture, QString *problem)
{
    const bool hasSequence = ::pcap_datalink(capture) == DLT_IEEE802_15_4_WITHFCS;
    QVector<QByteArray> frames;
    pcap_pkthdr *header = nullptr;
    const u_char *data = nullptr;
    int status = 0;
    while ((status = ::pcap_next_ex(capture, &header, &data)) == 1) {
        const int number = frames.size() + 1;
        if (header->caplen < header->len) {
            *problem = QStringLiteral("frame %1 was cut at capture time").arg(number);
            return std::nullopt;
        }
        const QByteArray frame(reinterpret_cast<const char *>(data),
                               static_cast<int>(header->caplen));
        frames.append(hasSequence ? frame : withFrameCheckSequence(frame));
        if (frames.constLast().size() > Traffic::largestFrame) {
            *problem = QStringLiteral("frame %1 is longer than %2 bytes")
                           .arg(number)
                           .arg(Traffic::largestFrame);
            return std::nullopt;
        }
    }
    if (status == PCAP_ERROR) {
        *problem =
            QStringLiteral("is damaged: %1").arg(QString::fromLocal8Bit(::pcap_geterr(capture)));
        return std::nullopt;
    }
    if (frames.isEmpty()) {
        *problem = QStringLiteral("holds no frames");
        return std::nullopt;
    }
    return frames;
}

std::optional<QVector<QByteArray>> readChecked(const QString &path, QString *problem)
{
    const Capture capture = openCapture(path, problem);
    if (!capture)
        return std::nullopt;
    const int linkType = ::pcap_datalink(capture.get());
    if (linkType != DLT_IEEE802_15_4_WITHFCS && linkType != DLT_IEEE802_15_4_NOFCS) {
        *problem = QStringLiteral("its link type is %1, not %2 or %3")
                       .arg(linkTypeName(linkType), linkTypeName(DLT_IEEE802_15_4_WITHFCS),
                            linkTypeName(DLT_IEEE802_15_4_NOFCS));
        return std::nullopt;
    }
    return readFrames(capture.get(), problem);
}

} // namespace

std::optional<Traffic> Traffic::fromPcap(const QString &path, QString *error)
{
    QString problem;
    const std::optional<QVector<QByteArray>> captured = readChecked(path, &problem);
    if (captured)
        return fromFrames(*captured);
    *error = QStringLiteral("%1: %2").arg(path, problem);
    return std::nullopt;
}

} // namespace Simulator

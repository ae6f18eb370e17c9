#include "traffic.h"

#include "builtin_traffic.h"
#include "capture_reader.h"

namespace Simulator {

Traffic Traffic::builtIn()
{
    return fromFrames(builtInFrames());
}

Traffic Traffic::fromFrames(const QVector<QByteArray> &frames)
{
    Traffic traffic;
    traffic.m_frames = frames;
    return traffic;
}

std::optional<Traffic> Traffic::fromPcap(const QString &path, QString *error)
{
    const std::optional<QVector<QByteArray>> captured = readCapture(path, error);
    if (!captured)
        return std::nullopt;
    return fromFrames(*captured);
}

} // namespace Simulator

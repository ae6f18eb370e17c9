#pragma once

#include <QByteArray>
#include <QVector>

namespace Simulator {

/** The frames of Traffic::builtIn(), check sequences included. */
QVector<QByteArray> builtInFrames();

} // namespace Simulator

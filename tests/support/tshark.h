#pragma once

#include <QByteArray>
#include <QStringList>
#include <QVector>

class QProcess;

/** Wireshark's terminal program, with a user's first preferences. */
namespace Tshark {

/** Which plug-ins it loads, whatever is installed: the project's own, or none. */
enum class PlugIn { Fennix, None };

/** Starts it with @p arguments in @p process. */
void start(QProcess *process, const QStringList &arguments, PlugIn plugIn = PlugIn::Fennix);

/**
 * Runs it with @p arguments until it ends, and returns what it has printed. Ends the test
 * (qFatal) when it fails, or complains of an error of Lua.
 */
QByteArray output(const QStringList &arguments, PlugIn plugIn = PlugIn::Fennix);

/** Returns what sharkd, Wireshark without a window, answers to @p requests, a line each. */
QByteArray answers(const QByteArray &requests);

/** Dissects @p file and returns the values of @p fields for each packet in which there are any. */
QVector<QStringList> fields(const QString &file, const QStringList &fields,
                            const QStringList &options = {}, PlugIn plugIn = PlugIn::Fennix);

} // namespace Tshark

#pragma once

#include "machine.h"

#include <QMap>

namespace Simulator {

/**
 * A folder of links to the ports of simulated devices, for whatever opens a port by its
 * path, such as an emulated machine. The links are removed with the object.
 */
class PortFolder : public Machine
{
public:
    /** The folder exists; what stands there under a node's name is replaced. */
    explicit PortFolder(QString path);
    ~PortFolder() override;
    Q_DISABLE_COPY(PortFolder)

    QString plugIn(Kind kind, const QString &node, const QString &portPath) override;
    void unplug(const QString &node) override;
    bool isPluggedIn(const QString &node) const override { return m_links.contains(node); }
    void linkSerial0(const QString &node) override;

private:
    QString setLink(const QString &name, const QString &target);

    const QString m_path;
    QMap<QString, QString> m_links;
};

} // namespace Simulator

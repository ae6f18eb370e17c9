#include "port_folder.h"

#include <QFile>

#include <utility>

namespace Simulator {

PortFolder::PortFolder(QString path)
    : m_path(std::move(path))
{ }

PortFolder::~PortFolder()
{
    for (const QString &link : qAsConst(m_links))
        QFile::remove(link);
}

QString PortFolder::plugIn(Kind, const QString &node, const QString &portPath)
{
    return setLink(node, portPath);
}

void PortFolder::unplug(const QString &node)
{
    QFile::remove(m_links.take(node));
}

void PortFolder::linkSerial0(const QString &node)
{
    setLink(QStringLiteral("serial0"), node);
}

QString PortFolder::setLink(const QString &name, const QString &target)
{
    QString path = m_path + QLatin1Char('/') + name;
    QFile::remove(path);
    QFile::link(target, path);
    m_links.insert(name, path);
    return path;
}

} // namespace Simulator

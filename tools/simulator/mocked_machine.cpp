#include "mocked_machine.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QVector>

#include <dlfcn.h>
#include <umockdev.h>

namespace Simulator {

namespace {

struct Description
{
    const char *parentSubsystem;
    const char *driver;
    const char *vendor;
    const char *product;
    const char *model;
};

Description describe(MockedMachine::Kind kind)
{
    switch (kind) {
    case MockedMachine::Kind::Mirzel:
        return {"usb", "ftdi_sio", "0403", "6015", "FT230X_Basic_UART"};
    case MockedMachine::Kind::MirzelWithoutIdentifiers:
        return {"usb", "ftdi_sio", nullptr, nullptr, "FT230X_Basic_UART"};
    case MockedMachine::Kind::Vostrel:
        return {"amba", "uart-pl011", nullptr, nullptr, nullptr};
    case MockedMachine::Kind::ForeignFtdi:
        return {"usb", "ftdi_sio", "0403", "6001", "FT232R_USB_UART"};
    case MockedMachine::Kind::ForeignAcm:
        return {"usb", "cdc_acm", "16c0", "0483", "USB_Serial"};
    case MockedMachine::Kind::ForeignUsbSerial:
        return {"usb", "ch341-uart", "1a86", "7523", "USB2.0-Serial"};
    case MockedMachine::Kind::OtherProductOfTheMaker:
        return {"usb", "cdc_acm", "f055", "0001", "Other_Product"};
    case MockedMachine::Kind::FtdiWithTheBridgesName:
        return {"usb", "ftdi_sio", "0403", "6001", "FT230X_Basic_UART"};
    case MockedMachine::Kind::ForeignWithTheBridgesName:
        return {"usb", "ch341-uart", "1a86", "7523", "FT230X_Basic_UART"};
    }
    Q_UNREACHABLE();
}

/** Lets every ioctl on a mocked port succeed without an effect. */
gboolean succeed(UMockdevIoctlBase *, UMockdevIoctlClient *client)
{
    ::umockdev_ioctl_client_complete(client, 0, 0);
    return TRUE;
}

} // namespace

class MockedMachine::Testbed
{
public:
    Testbed();
    ~Testbed();
    Q_DISABLE_COPY(Testbed)

    void add(const Description &description, const QString &node, const QString &portPath);
    void remove(const QString &node);
    bool holds(const QString &node) const { return m_ports.contains(node); }
    void setLink(const QString &node, const QString &target);
    void removeLink(const QString &node) { QFile::remove(hostPath(node)); }

private:
    struct Port
    {
        QByteArray parent;
        QByteArray tty;
    };

    QByteArray addDevice(const char *subsystem, const QString &name, const QByteArray &parent,
                         const QVector<QByteArray> &properties);
    QString hostPath(const QString &node) const { return m_root + QLatin1String("/dev/") + node; }

    UMockdevTestbed *m_testbed = ::umockdev_testbed_new();
    UMockdevIoctlBase *m_ioctlHandler = ::umockdev_ioctl_base_new();
    QString m_root;
    QMap<QString, Port> m_ports;
};

MockedMachine::Testbed::Testbed()
{
    gchar *root = ::umockdev_testbed_get_root_dir(m_testbed);
    m_root = QFile::decodeName(root);
    ::g_free(root);
    QDir().mkpath(hostPath(QString()));

    // Without an answer, QSerialPort would report the exclusive access it cannot have as an error.
    g_signal_connect(m_ioctlHandler, "handle-ioctl", G_CALLBACK(&succeed), nullptr);

    // With no tty at all, Qt would look for the ports of the real machine instead.
    addDevice("tty", QStringLiteral("console"), QByteArray(), {"DEVNAME", "/dev/console"});
}

MockedMachine::Testbed::~Testbed()
{
    const QStringList nodes = m_ports.keys();
    for (const QString &node : nodes)
        remove(node);
    ::g_object_unref(m_ioctlHandler);
    ::g_object_unref(m_testbed);
}

void MockedMachine::Testbed::add(const Description &description, const QString &node,
                                 const QString &portPath)
{
    Port port;
    port.parent =
        addDevice(description.parentSubsystem, QLatin1String("port-") + node, QByteArray(), {});
    const QByteArray driver =
        QByteArray("../../bus/") + description.parentSubsystem + "/drivers/" + description.driver;
    ::umockdev_testbed_set_attribute_link(m_testbed, port.parent.constData(), "driver",
                                          driver.constData());

    const QByteArray path = "/dev/" + node.toLatin1();
    QVector<QByteArray> properties {"DEVNAME", path};
    if (description.vendor != nullptr)
        properties << "ID_VENDOR_ID" << description.vendor << "ID_MODEL_ID" << description.product;
    if (description.model != nullptr)
        properties << "ID_MODEL" << description.model;
    port.tty = addDevice("tty", node, port.parent, properties);

    ::umockdev_testbed_attach_ioctl(m_testbed, path.constData(), m_ioctlHandler, nullptr);
    // Last: opened before its ioctls are handled, a port would end the program that opens it.
    setLink(node, portPath);
    m_ports.insert(node, port);
}

void MockedMachine::Testbed::remove(const QString &node)
{
    if (!holds(node))
        return;
    const Port port = m_ports.take(node);
    ::umockdev_testbed_detach_ioctl(m_testbed, ("/dev/" + node.toLatin1()).constData(), nullptr);
    removeLink(node);
    ::umockdev_testbed_remove_device(m_testbed, port.tty.constData());
    ::umockdev_testbed_remove_device(m_testbed, port.parent.constData());
}

void MockedMachine::Testbed::setLink(const QString &node, const QString &target)
{
    removeLink(node);
    QFile::link(target, hostPath(node));
}

QByteArray MockedMachine::Testbed::addDevice(const char *subsystem, const QString &name,
                                             const QByteArray &parent,
                                             const QVector<QByteArray> &properties)
{
    QVector<gchar *> list;
    for (const QByteArray &property : properties)
        list.append(const_cast<gchar *>(property.constData()));
    list.append(nullptr);
    gchar *noAttributes[] = {nullptr};
    gchar *path = ::umockdev_testbed_add_devicev(m_testbed, subsystem, name.toLatin1().constData(),
                                                 parent.isEmpty() ? nullptr : parent.constData(),
                                                 noAttributes, list.data());
    QByteArray result(path);
    ::g_free(path);
    return result;
}

bool MockedMachine::isPossible(QString *error)
{
    // umockdev's own test of this answers only once a testbed exists.
    void *preload = ::dlopen("libumockdev-preload.so.0", RTLD_LAZY | RTLD_NOLOAD);
    const bool preloaded = preload != nullptr;
    if (preloaded)
        ::dlclose(preload);
    if (!preloaded && error != nullptr)
        *error = QStringLiteral("the mocked machine needs umockdev's preload: start the program "
                                "under umockdev-wrapper");
    return preloaded;
}

MockedMachine::MockedMachine()
    : m_testbed(new Testbed)
{ }

MockedMachine::~MockedMachine() = default;

QString MockedMachine::plugIn(Kind kind, const QString &node, const QString &portPath)
{
    m_testbed->remove(node);
    m_testbed->add(describe(kind), node, portPath);
    return QLatin1String("/dev/") + node;
}

void MockedMachine::unplug(const QString &node)
{
    m_testbed->remove(node);
}

bool MockedMachine::isPluggedIn(const QString &node) const
{
    return m_testbed->holds(node);
}

void MockedMachine::linkSerial0(const QString &node)
{
    m_testbed->setLink(QStringLiteral("serial0"), node);
}

void MockedMachine::unlinkSerial0()
{
    m_testbed->removeLink(QStringLiteral("serial0"));
}

} // namespace Simulator

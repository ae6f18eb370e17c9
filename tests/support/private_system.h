#pragma once

#include <QString>
#include <QTemporaryDir>

/**
 * Separates the process from the machine's /usr/share and network, so that a test
 * may change both. Works for root, and for others where the kernel lets everybody
 * make namespaces. To be called before the process starts a thread. The network
 * stays for the process's life, /usr/share for the object's.
 */
class PrivateSystem
{
public:
    PrivateSystem() = default;
    ~PrivateSystem();
    Q_DISABLE_COPY(PrivateSystem)

    /**
     * Gives the process a /usr/share and a network of its own, or returns false
     * with the reason in @p error.
     */
    bool enter(QString *error);

    /** Replaces the network by a new one, which has no interface but a loopback that is down. */
    static void renewNetwork();

private:
    QTemporaryDir m_folder;
    bool m_entered = false;
};

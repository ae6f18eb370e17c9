#pragma once

#include <QApplication>
#include <QString>
#include <QTemporaryDir>
#include <QTest>

/**
 * Separates the process from the machine's /usr/share and network, so that a test
 * may change both. Works for root, and for others where the kernel lets everybody
 * make namespaces. To be made before the process starts a thread. The network
 * stays for the process's life, /usr/share for the object's.
 */
class PrivateSystem
{
public:
    PrivateSystem();
    ~PrivateSystem();
    Q_DISABLE_COPY(PrivateSystem)

    /**
     * For initTestCase(): skips the test on a machine that refused the separation,
     * with the reason it gave. In CI that is a failure.
     */
    static void require();

    /** Replaces the network by a new one, which has no interface but a loopback that is down. */
    static void renewNetwork();

private:
    QTemporaryDir m_folder;
    static QString refusal;
};

/** Runs a test class in a private system; for its main(). */
template<typename Test>
int runInPrivateSystem(int argc, char *argv[])
{
    const PrivateSystem system;
    const QApplication application(argc, argv);
    Test test;
    return QTest::qExec(&test, argc, argv);
}

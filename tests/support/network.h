#pragma once

#include "zep_receiver.h"

#include <QStringList>

#include <memory>

/** The network of a process that has one of its own. Every failure ends the test (qFatal). */
namespace Network {

/** Gives each of @p commands to `ip`, in order. */
void configure(const QStringList &commands);

/** Replaces the network by a new one, which has no interface but a loopback that is down. */
void renew();

} // namespace Network

/**
 * Another machine with an analyser on it, and the cable to it: the interface "cable"
 * here, "cable-end" over there. It answers as long as the cable is there.
 */
class FarMachine
{
public:
    static constexpr char address[] = "192.0.2.2";

    FarMachine();
    ~FarMachine();
    Q_DISABLE_COPY(FarMachine)

    /** Lays the cable, also in place of one that was taken away; it works at once. */
    void layCable() const;

    /** Gives each of @p commands to the other machine's `ip`. */
    void configure(const QStringList &commands) const;

    const ZepReceiver &receiver() const { return *m_receiver; }

private:
    const int m_here;
    int m_there;
    std::unique_ptr<ZepReceiver> m_receiver;
};

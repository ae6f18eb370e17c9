#pragma once

#include <QString>

#include <sys/types.h>

/** Another process that holds a port open, for itself alone, as long as this object lives. */
class PortHolder
{
public:
    /** Ends this process when the other one does not get the port. */
    explicit PortHolder(const QString &portPath);
    ~PortHolder();
    Q_DISABLE_COPY(PortHolder)

private:
    pid_t m_process;
    int m_leash;
};

#include "unprivileged.h"

#include <cerrno>
#include <cstring>

#include <sys/syscall.h>
#include <unistd.h>

Unprivileged::Unprivileged()
{
    call(SYS_capget, &m_saved);
    Capabilities none = m_saved;
    for (__user_cap_data_struct &half : none)
        half.effective = 0;
    call(SYS_capset, &none);
}

Unprivileged::~Unprivileged()
{
    call(SYS_capset, &m_saved);
}

void Unprivileged::call(long number, Capabilities *capabilities)
{
    __user_cap_header_struct thisThread {_LINUX_CAPABILITY_VERSION_3, 0};
    if (::syscall(number, &thisThread, capabilities->data()) != 0)
        qFatal("cannot change the capabilities: %s", std::strerror(errno));
}

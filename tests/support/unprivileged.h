#pragma once

#include <QtGlobal>

#include <array>

#include <linux/capability.h>

/**
 * For as long as it lives, files and terminals are as closed to this thread as to
 * an ordinary user: it is without the capabilities that make root open everything.
 */
class Unprivileged
{
public:
    Unprivileged();
    ~Unprivileged();
    Q_DISABLE_COPY(Unprivileged)

private:
    using Capabilities = std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3>;

    static void call(long number, Capabilities *capabilities);

    Capabilities m_saved {};
};

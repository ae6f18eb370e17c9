#include "ioctl_handler.h"

namespace Simulator {

namespace {

gboolean succeed(UMockdevIoctlBase *, UMockdevIoctlClient *client)
{
    ::umockdev_ioctl_client_complete(client, 0, 0);
    return TRUE;
}

void initialiseClass(gpointer klass, gpointer)
{
    static_cast<UMockdevIoctlBaseClass *>(klass)->handle_ioctl = &succeed;
}

GType handlerType()
{
    static const GType type = [] {
        GTypeQuery base {};
        ::g_type_query(UMOCKDEV_TYPE_IOCTL_BASE, &base);
        return ::g_type_register_static_simple(UMOCKDEV_TYPE_IOCTL_BASE, "FennixIoctlHandler",
                                               base.class_size, &initialiseClass,
                                               base.instance_size, nullptr, GTypeFlags(0));
    }();
    return type;
}

} // namespace

UMockdevIoctlBase *newIoctlHandler()
{
    return ::umockdev_ioctl_base_construct(handlerType());
}

} // namespace Simulator

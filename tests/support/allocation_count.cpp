#include "allocation_count.h"

#include <cstddef>

thread_local int AllocationCount::made;

extern "C" {

#ifdef FENNIX_SANITIZED

/** Called by AddressSanitizer, which has a malloc() of its own. */
void __sanitizer_malloc_hook(const volatile void * /*memory*/, size_t /*size*/)
{
    ++AllocationCount::made;
}

#else

void *__libc_malloc(size_t size);

/** Takes the place of the C library's, for that and for operator new. */
void *malloc(size_t size)
{
    ++AllocationCount::made;
    return __libc_malloc(size);
}

#endif
}

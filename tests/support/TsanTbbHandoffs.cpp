// ThreadSanitizer builds only: makes the hand-offs of Debian's uninstrumented TBB visible.
//
// libtbb passes tasks between threads through its own atomics, which ThreadSanitizer does not
// see, so every read a worker makes of data the spawning thread wrote looks like a race. This
// file interposes the scheduler's entry points (the test executable's definitions take
// precedence over the shared library's) and records hand-offs on one global synchronisation
// object: spawning a task, entering execute_and_wait and freeing a task release it; allocating a
// task, asking for the execution slot, entering the scheduler and returning from a wait acquire
// it (a waiting thread also acquires its wait context).
//
// These edges are coarser than the real ones. Every task is freed when it finishes, and the next
// task any thread starts acquires, so task bodies that run one after the other are ordered, on the
// same thread or not, whether or not the code orders them. What is still reported: conflicting
// accesses from bodies that overlap in time (neither thread passes a release and then the other an
// acquire between them), and races between task bodies and threads that never enter the scheduler
// (a std::thread that does not call TBB acquires nothing here). What is not: a race between bodies
// that happened not to overlap in the run, even though the code would allow them to.
#if defined(__SANITIZE_THREAD__)
#define QLM_TSAN_BUILD 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)  // clang's spelling
#define QLM_TSAN_BUILD 1
#endif
#endif

#if defined(QLM_TSAN_BUILD)

#include <oneapi/tbb/detail/_task.h>
#include <oneapi/tbb/task_scheduler_observer.h>

#include <dlfcn.h>

extern "C" void __tsan_acquire(void* addr);
extern "C" void __tsan_release(void* addr);

namespace
{

char gHandoff;  // one synchronisation object for every spawn and every task start

template <class Fn>
Fn next(const char* mangled)
{
    static_assert(sizeof(Fn) == sizeof(void*));
    void* symbol = dlsym(RTLD_NEXT, mangled);
    Fn fn;
    __builtin_memcpy(&fn, &symbol, sizeof fn);
    return fn;
}

// Workers joining the arena acquire what the threads that spawned work released.
class HandoffObserver : public tbb::task_scheduler_observer
{
public:
    HandoffObserver() { observe(true); }
    void on_scheduler_entry(bool) override { __tsan_acquire(&gHandoff); }
};

}  // namespace

namespace tbb::detail::r1
{

void spawn(d1::task& t, d1::task_group_context& ctx)
{
    static auto real = next<void (*)(d1::task&, d1::task_group_context&)>(
        "_ZN3tbb6detail2r15spawnERNS0_2d14taskERNS2_18task_group_contextE");
    __tsan_release(&gHandoff);
    real(t, ctx);
}

void spawn(d1::task& t, d1::task_group_context& ctx, d1::slot_id id)
{
    static auto real = next<void (*)(d1::task&, d1::task_group_context&, d1::slot_id)>(
        "_ZN3tbb6detail2r15spawnERNS0_2d14taskERNS2_18task_group_contextEt");
    __tsan_release(&gHandoff);
    real(t, ctx, id);
}

void execute_and_wait(d1::task& t, d1::task_group_context& tctx, d1::wait_context& wait,
                      d1::task_group_context& wctx)
{
    static auto real =
        next<void (*)(d1::task&, d1::task_group_context&, d1::wait_context&, d1::task_group_context&)>(
            "_ZN3tbb6detail2r116execute_and_waitERNS0_2d14taskERNS2_18task_group_contextERNS2_12wait_"
            "contextES6_");
    __tsan_release(&gHandoff);
    real(t, tctx, wait, wctx);
    __tsan_acquire(&wait);
    __tsan_acquire(&gHandoff);
}

void wait(d1::wait_context& wait, d1::task_group_context& ctx)
{
    static auto real = next<void (*)(d1::wait_context&, d1::task_group_context&)>(
        "_ZN3tbb6detail2r14waitERNS0_2d112wait_contextERNS2_18task_group_contextE");
    real(wait, ctx);
    __tsan_acquire(&wait);
    __tsan_acquire(&gHandoff);
}

d1::slot_id execution_slot(const d1::execution_data* ed)
{
    static auto real = next<d1::slot_id (*)(const d1::execution_data*)>(
        "_ZN3tbb6detail2r114execution_slotEPKNS0_2d114execution_dataE");
    __tsan_acquire(&gHandoff);
    return real(ed);
}

void* allocate(d1::small_object_pool*& pool, std::size_t size, const d1::execution_data& ed)
{
    static auto real = next<void* (*)(d1::small_object_pool*&, std::size_t, const d1::execution_data&)>(
        "_ZN3tbb6detail2r18allocateERPNS0_2d117small_object_poolEmRKNS2_14execution_dataE");
    __tsan_acquire(&gHandoff);
    return real(pool, size, ed);
}

void deallocate(d1::small_object_pool& pool, void* p, std::size_t size, const d1::execution_data& ed)
{
    static auto real = next<void (*)(d1::small_object_pool&, void*, std::size_t, const d1::execution_data&)>(
        "_ZN3tbb6detail2r110deallocateERNS0_2d117small_object_poolEPvmRKNS2_14execution_dataE");
    __tsan_release(&gHandoff);
    __tsan_acquire(&gHandoff);
    real(pool, p, size, ed);
}

}  // namespace tbb::detail::r1

namespace
{
HandoffObserver gObserver;
}

#endif

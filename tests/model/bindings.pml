/* One block of runtime/serial_ctx.h and threads whose calls find it unbound, bound, or in between.
 *
 *   BINDING_A  log writer and main allocator. At load time all three pointers are null.
 *   otherwise  binding B, cache allocator and byte order. At load time the pointers are the heap's.
 *   ACQUIRE    the load of the once flag is an acquire load; otherwise relaxed
 *   RELEASE    the binder's stores of the once flag, and of its copy beside the byte-swap flag, are release stores;
 *              otherwise relaxed
 *   SETTLED    0: the caller of binding B asks the once flag. 1: it asks the word that has the copy and the byte-swap
 *              flag, by an acquire load. 2: the same, by a relaxed load. 3: as 2, and it calls no pointer
 *   LOCK       the binder holds the block's mutex and looks again
 *   THREADS    2 or 3
 *   SWAP       what the byte-swap flag holds before binding B stores 0. The library never stores anything else:
 *              1 asks what an order would have to protect if something did.
 *
 * Each thread makes a call that allocates and releases. Whatever the process offers (has_..., chosen at will), one of
 * these outcomes is looked for:
 *   NULL_CALL  a null pointer is called
 *   MIXED      memory of the platform's is taken or released by somebody, and memory of the heap's as well
 *   STALE      A: a line is not logged although there is a log writer. B: values go in the order of before the binding
 *   TWICE      the look-ups are made more than once
 */
#if LOCK
#define VALUES 3 /* at load time, as found, and the heap's instead */
#else
#define VALUES 5 /* the latter two of both binders */
#endif
#define LOCATIONS 5
#define FLAG 0
#define ALLOCATE 1
#define RELEASE_FN 2
#define OTHER 3 /* of A the log writer, of B the byte-swap flag */
#define WORD 4  /* of B: 1 once the side is settled */
#include "memory.pml"

#define NOTHING 0
#define PLATFORM 1
#define HEAP 2

bool has_log, has_allocate, has_release, uses_cache;
bool used_platform, used_heap; /* for memory, by any thread */
byte binders;

#ifdef NULL_CALL
#define OUTCOME_OF_CALL(pointer) assert(pointer != NOTHING)
#elif defined(MIXED)
#define OUTCOME_OF_CALL(pointer) assert(!(used_platform && used_heap))
#else
#define OUTCOME_OF_CALL(pointer) skip
#endif

#ifdef BINDING_A
#define BEGINS_WITH NOTHING
#define OTHER_AT_LOAD NOTHING
#define OTHER_BOUND (has_log -> PLATFORM : NOTHING)
#else
#define BEGINS_WITH HEAP
#define OTHER_AT_LOAD SWAP
#define OTHER_BOUND 0
#endif

/* As bind_services_once and bind_cache_once do, store by store; the caller holds the lock. */
inline bind()
{
    binders++;
#ifdef BINDING_A
    load(OTHER, value, false);
    if
    :: value == NOTHING -> store(OTHER, (has_log -> PLATFORM : NOTHING), false)
    :: else
    fi;
    store(ALLOCATE, (has_allocate -> PLATFORM : NOTHING), false);
    store(RELEASE_FN, (has_release -> PLATFORM : NOTHING), false);
#else
    store(OTHER, 0, false);
    if
    :: uses_cache ->
        store(ALLOCATE, (has_allocate -> PLATFORM : NOTHING), false);
        store(RELEASE_FN, (has_release -> PLATFORM : NOTHING), false)
    :: else
    fi;
#endif
    load(ALLOCATE, value, false);
    load(RELEASE_FN, value2, false);
    if
    :: value == NOTHING || value2 == NOTHING ->
        store(ALLOCATE, HEAP, false);
        store(RELEASE_FN, HEAP, false)
    :: else
    fi;
    value2 = 0;
    store(FLAG, 1, RELEASE);
#ifndef BINDING_A
    store(WORD, 1, RELEASE)
#endif
}

inline ensure_bound()
{
    load(FLAG, value, ACQUIRE);
    if
    :: value == 0 ->
#if LOCK
        lock();
        load(FLAG, value, false);
        if
        :: value == 0 -> bind()
        :: else
        fi;
        unlock()
#else
        bind()
#endif
    :: else
    fi;
    value = 0
}

inline call(pointer)
{
    load(pointer, value, false);
    used_platform = used_platform || value == PLATFORM;
    used_heap = used_heap || value == HEAP;
    OUTCOME_OF_CALL(value);
    value = 0 /* what is over tells no two states apart */
}

proctype caller(byte me)
{
    byte i_, l_, value, value2;
#if SETTLED
    load(WORD, value, SETTLED == 1);
    if
    :: value == 1 -> goto bound /* the word says that the order is the native one */
    :: else
    fi;
#endif
    ensure_bound();
    load(OTHER, value, false);
#ifdef STALE
    assert(value == OTHER_BOUND);
#endif
bound:
    value = 0;
#if SETTLED != 3
    call(ALLOCATE);
    ensure_bound();
    call(RELEASE_FN)
#endif
}

init
{
    atomic {
        if :: has_log = true :: has_log = false fi;
        if :: has_allocate = true :: has_allocate = false fi;
        if :: has_release = true :: has_release = false fi;
        if :: uses_cache = true :: uses_cache = false fi;
        VALUE(ALLOCATE, 0) = BEGINS_WITH;
        VALUE(RELEASE_FN, 0) = BEGINS_WITH;
        VALUE(OTHER, 0) = OTHER_AT_LOAD;
        run caller(0);
        run caller(1);
#if THREADS == 3
        run caller(2)
#endif
    }
#ifdef TWICE
    _nr_pr == 1;
    assert(binders == 1)
#endif
}

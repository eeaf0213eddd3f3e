/* The memory model itself, held against what is known of it: see bindings.sh for which of these must be seen.
 *   MP     message passing: the flag is seen and the data is not
 *   CORR   one location is seen to go backwards
 *   SB     store buffering: both threads miss the other's store
 *   LOCKED as MP, but both under the mutex
 */
#define LOCATIONS 2
#define VALUES 3
#define THREADS 2
#include "memory.pml"

byte first, second, done;

proctype one()
{
    byte me = 0, i_, l_;
#ifdef CORR
    store(0, 1, false);
    store(0, 2, false);
#elif defined(SB)
    store(0, 1, true);
    load(1, first, true);
#elif defined(LOCKED)
    lock();
    store(0, 1, false);
    store(1, 1, false);
    unlock();
#else
    store(0, 1, false);
    store(1, 1, RELEASE);
#endif
    done++
}

proctype two()
{
    byte me = 1, i_, l_;
#ifdef CORR
    load(0, first, false);
    load(0, second, false);
#elif defined(SB)
    store(1, 1, true);
    load(0, second, true);
#elif defined(LOCKED)
    lock();
    load(1, first, false);
    load(0, second, false);
    unlock();
#else
    load(1, first, ACQUIRE);
    load(0, second, false);
#endif
    done++
}

init
{
    atomic { run one(); run two() }
    done == 2;
#ifdef CORR
    assert(second >= first)
#elif defined(SB)
    assert(first == 1 || second == 1)
#else
    assert(first == 0 || second == 1)
#endif
}

/* Memory of the C++ kind, by views. Every location keeps all values that were ever stored to it, in the order of the
 * stores. A thread's view says, location by location, the oldest value that it may still read: what it has read or
 * written itself, and what it learned by synchronising. Any value from there on can be read, which is what a core or a
 * compiler that reorders loads and stores may show.
 *
 *   relaxed (and plain) load   reads any value not older than the view
 *   acquire load               and joins the view that the value carries
 *   relaxed (and plain) store  appends a value that carries no view
 *   release store              appends a value that carries the thread's view
 *   lock, unlock               join and leave the view of the mutex
 *
 * No load reads a value that is stored later (the out-of-thin-air family). The includer defines locations, values
 * and threads: LOCATIONS, VALUES (most values a location takes, the first included), THREADS.
 */
byte stored[LOCATIONS * VALUES];          /* value i of a location */
byte newest[LOCATIONS];                   /* index of its last value */
byte carried[LOCATIONS * VALUES * LOCATIONS]; /* the view that a value carries */
byte view[THREADS * LOCATIONS];
bool locked = false;
byte mutex_view[LOCATIONS];

#define VALUE(location, i) stored[(location) * VALUES + (i)]
#define CARRIED(location, i, l) carried[((location) * VALUES + (i)) * LOCATIONS + (l)]
#define VIEW(l) view[me * LOCATIONS + (l)]

/* Every name with a trailing underscore is a variable of its process: byte i_, l_. */

inline load(location, into, is_acquire)
{
    atomic {
        i_ = VIEW(location);
        do
        :: i_ < newest[location] -> i_++ /* not this one but a newer */
        :: break                         /* this one */
        od;
        into = VALUE(location, i_);
        VIEW(location) = i_;
        if
        :: is_acquire ->
            l_ = 0;
            do
            :: l_ < LOCATIONS ->
                if
                :: CARRIED(location, i_, l_) > VIEW(l_) -> VIEW(l_) = CARRIED(location, i_, l_)
                :: else
                fi;
                l_++
            :: else -> break
            od
        :: else
        fi;
        i_ = 0; l_ = 0
    }
}

inline store(location, value, is_release)
{
    d_step {
        newest[location]++;
        VALUE(location, newest[location]) = value;
        VIEW(location) = newest[location];
        l_ = 0;
        do
        :: l_ < LOCATIONS && is_release -> CARRIED(location, newest[location], l_) = VIEW(l_); l_++
        :: else -> break
        od;
        l_ = 0
    }
}

inline lock()
{
    atomic {
        !locked;
        locked = true;
        l_ = 0;
        do
        :: l_ < LOCATIONS ->
            if
            :: mutex_view[l_] > VIEW(l_) -> VIEW(l_) = mutex_view[l_]
            :: else
            fi;
            l_++
        :: else -> break
        od;
        l_ = 0
    }
}

inline unlock()
{
    d_step {
        l_ = 0;
        do
        :: l_ < LOCATIONS -> mutex_view[l_] = VIEW(l_); l_++
        :: else -> break
        od;
        l_ = 0;
        locked = false
    }
}

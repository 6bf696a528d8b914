// The exchange lock: whoever holds it may read from the daemon's socket.
//
// A request takes it before its frame is written and gives it back when its
// reply has been read; the listener tries it and steps back. A thread that
// does not hold the lock releases nothing, and never another thread's hold.
#ifndef VANDEL_LINK_EXCHANGE_LOCK_H
#define VANDEL_LINK_EXCHANGE_LOCK_H

// Initialises the session's lock; called once, before any thread exists.
void lock_init();

// Waits for the lock; 0 or an error number.
int exchange_lock();

// Takes the lock if it is free; 0, or an error number (EBUSY).
int exchange_trylock();

// Gives the lock back; 0 or an error number. Without the lock it does nothing
// and reports success.
int exchange_unlock();

#endif

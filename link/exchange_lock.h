// The exchange lock: whoever holds it may read from the daemon's socket.
//
// A request takes it before its frame is written and gives it back when its
// reply has been read; the listener tries it and steps back. The listener polls
// the socket while it holds the lock, and a request that comes ends that poll. A
// thread that does not hold the lock releases nothing, and never another thread's
// hold.
#pragma once

// Initialises the session's lock; called once, before any thread exists.
void lock_init();

// Makes what ends the listener's poll, once; called before the listener starts. Where
// there is no descriptor left for it, a request waits until that poll is over.
void exchange_wanted_init();

// Readable as long as a request waits for the lock; never to be read by the caller.
// It fits into an fd_set; -1 when there is none.
int exchange_wanted_fd();

// Waits for the lock; 0 or an error number.
int exchange_lock();

// Takes the lock if it is free; 0, or an error number (EBUSY).
int exchange_trylock();

// Gives the lock back; 0 or an error number. Without the lock it does nothing
// and reports success.
int exchange_unlock();

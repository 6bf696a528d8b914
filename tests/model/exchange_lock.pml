/* The exchange lock: who may read the daemon's socket, and when.
 *
 * The requester (main thread) and the notification listener share one socket.
 * The daemon answers every request with one reply, sends notifications whenever
 * it likes and may go away at any moment. Shown for every order of events, with
 * every failure that the code provides for:
 *
 *  - a reply is read by the thread that sent its request, and while it waits;
 *  - header and body of a frame are read by one thread, with no other in between;
 *  - nobody gives up the hold of another thread;
 *  - no request ends with the lock held: not after a failed write, nor a failed
 *    read, nor a failed read behind a notification, nor without a connection
 *    (descriptor 0), where the lock was never taken;
 *  - whoever holds the lock gives it up, and every request comes to its end;
 *  - a request never waits for a poll to time out: all this holds, too, when polls
 *    never do, if only what ends them could be made;
 *  - a request that waits is passed by one more frame at most, unless the listener
 *    has rested in between;
 *  - every notification is read, at the latest by the request whose reply comes after it.
 *
 * Left out: frames that are neither reply nor notification, and a connection on
 * which a frame was refused, as its bytes mean nothing from then on. A failed
 * read is therefore one that every later read shares.
 *
 * BROKEN=1..12 each leave out one precaution, and an error must then be found.
 * tests/model/check runs them all.
 */

#ifndef BROKEN
#define BROKEN 0
#endif

#define REQUESTS 3
#define NOTIFICATIONS 3
#define NOBODY 0
#define REQUESTER 1
#define LISTENER 2
#define NONE 255

mtype = { reply, notification };

/* session.lock, and each thread's held_here (link/exchange_lock.cpp) */
byte holder = NOBODY;
bool held_here[3];
bool waiting = false; /* the requester waits for the lock */

/* link/exchange_lock.cpp's wanted_fd: what a request ends the listener's poll with */
bool made;           /* there was a descriptor for it */
bool wanted = false; /* it is raised */
bool times_out;      /* polls end by themselves, too */
byte passed;         /* frames that may pass a request that has raised it */
#if BROKEN == 8
bool polling = false;
#endif

/* The socket. Header and body of a frame are read one after the other. */
chan requests = [1] of { byte };
chan headers = [2] of { mtype, byte };
chan bodies = [2] of { mtype, byte };
bool gone = false; /* the daemon's end is closed */

bool connected;         /* server_fd > 0 */
byte awaited = NONE;    /* the request under way */
bool in_frame = false;  /* somebody has read a header, but not its body */
bool finished = false;  /* the last request has come to its end */
byte pushed = 0;        /* notifications sent ... */
byte heard = 0;         /* ... and read */
byte due = 0;           /* those sent before the reply */

/* exchange_lock */
inline lock()
{
    atomic {
        passed = 0;
#if BROKEN == 8
        wanted = made && polling
#elif BROKEN != 7
        wanted = made
#endif
    }
#if BROKEN == 9
    wanted = false;
#endif
    waiting = true;
    atomic { holder == NOBODY; holder = REQUESTER; held_here[REQUESTER] = true; waiting = false }
#if BROKEN != 10
    wanted = false
#endif
}

/* exchange_trylock. A thread that waits for a free lock has it before another comes
 * from a sleep of a second or more, but maybe not before one that has printed. */
inline trylock(taken)
{
    atomic {
        !rested || holder != NOBODY || !waiting;
        taken = holder == NOBODY;
        if
        :: taken ->
            holder = LISTENER;
            held_here[LISTENER] = true;
            passed = passed + (wanted && !rested -> 1 : 0);
            assert(passed <= 1)
        :: else
        fi
    }
}

/* poll_socket. select finds the end of the stream readable, too. */
inline poll(readable, sent_away)
{
#if BROKEN == 8
    polling = true;
#endif
    atomic {
        nempty(headers) || gone || wanted || times_out;
        readable = nempty(headers) || gone;
        sent_away = wanted;
#if BROKEN == 8
        polling = false;
#endif
    }
}

/* exchange_unlock: harmless for a thread that does not hold the lock */
inline unlock(me)
{
    atomic {
        assert(!held_here[me] || holder == me);
        if
#if BROKEN == 1
        :: true -> holder = NOBODY; held_here[me] = false
#else
        :: held_here[me] -> holder = NOBODY; held_here[me] = false
        :: else
#endif
        fi
    }
}

/* msg_recv: a header, then its body. Without a connection the lock is not held,
 * and what is read may be anything. */
inline msg_recv(me, ok, kind)
{
    ok = false;
    if
    :: atomic { headers?kind, id -> assert(!in_frame || !connected); in_frame = true }
       if
       :: atomic {
              bodies?body_kind, body_id ->
              assert(!connected || (body_kind == kind && body_id == id));
              assert(kind != reply || (me == REQUESTER && awaited == id));
              heard = heard + (kind == notification -> 1 : 0);
              assert(!connected || kind != reply || heard >= due);
              in_frame = false;
              ok = true
          }
       :: gone && empty(bodies) -> in_frame = false
       fi
    :: gone && empty(headers)
    fi
}

/* The main thread: msg_send, then msg_wait_reply (link/exchange.cpp), in the
 * order that link/exchange.h fixes. */
proctype requester()
{
    byte request = 0, id, body_id;
    mtype kind, body_kind;
    bool sent, ok;

    do
    :: request == REQUESTS -> break
    :: else ->
        /* msg_send; a missing connection counts as success */
        sent = true;
        if
        :: !connected
        :: connected ->
            lock();
            if
            :: !gone -> awaited = request; requests!request
            :: true -> /* the write fails */
                sent = false;
#if BROKEN != 2
                unlock(REQUESTER)
#endif
            fi
        fi;
        /* msg_wait_reply */
        if
        :: !sent
        :: sent ->
#if BROKEN == 3
            unlock(REQUESTER);
#endif
            msg_recv(REQUESTER, ok, kind);
            do
            :: ok && kind == notification ->
                msg_recv(REQUESTER, ok, kind);
#if BROKEN == 4
                if
                :: !ok -> goto returned
                :: else
                fi
#endif
            :: else -> break
            od;
            if
#if BROKEN == 5
            :: !ok
            :: ok -> unlock(REQUESTER)
#else
            :: true -> unlock(REQUESTER)
#endif
            fi
        fi;
returned:
        assert(holder != REQUESTER && !held_here[REQUESTER] && !wanted);
        awaited = NONE;
        request++
    od;
    finished = true
}

/* notify_listener (link/listener.cpp) */
proctype listener()
{
    byte id, body_id;
    mtype kind, body_kind;
    bool taken, readable, sent_away, ok, rested = false;

end:
    do
    :: true ->
#if BROKEN == 6
        taken = true;
#else
        trylock(taken);
#endif
        if
        :: !taken -> rested = true
        :: taken ->
            poll(readable, sent_away);
            if
            :: readable -> msg_recv(LISTENER, ok, kind)
            :: else -> ok = false
            fi;
            unlock(LISTENER);
#if BROKEN == 11
            rested = !ok
#else
            rested = !ok || sent_away
#endif
#if BROKEN == 12
            if
            :: sent_away -> break
            :: else
            fi
#endif
        fi
    od
}

inline send(kind, id)
{
    headers!kind, id;
    if
    :: bodies!kind, id
    :: goto away /* in the middle of a frame */
    fi
}

proctype daemon()
{
    byte id;

end:
    do
    :: requests?id -> due = pushed; send(reply, id)
    :: pushed < NOTIFICATIONS -> send(notification, pushed); pushed++
    :: finished || !connected || pushed < NOTIFICATIONS -> break
    od;
away:
    gone = true
}

init
{
    if
    :: connected = true
    :: connected = false
    fi;
    if
    :: made = true; times_out = true
    :: made = true; times_out = false
    :: made = false; times_out = true
    fi;
    atomic { run requester(); run listener(); run daemon() }
}

ltl given_up { [] (holder != NOBODY -> <> (holder == NOBODY)) }
ltl ended { <> finished }
ltl all_read { [] <> (len(headers) == 0) }

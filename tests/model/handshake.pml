/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The handshake of clients and daemon in the segment, for spin to explore completely: the lock,
 * the word for the client whose turn it is, the word for a running command, the signals, and
 * kill -9 of any process between any two steps. A comment of the form [function] names the code
 * that the steps after it model. `./run model` sets these options:
 *
 *   SIMPLE   a client that knows only the segment: it takes no turn and does not look at the daemon
 *   LIMITS   vorlinctl's time limit may end each of its waits
 *   KILLS    how many processes are killed; a killed daemon is started again
 *   HOTPLUG  a script that sends SIGUSR2
 *   CAREFUL  the simple client follows docs/protocol.md
 *   BROKEN   one of five faults, to check that it is found
 *   CLAIM    a property that a simple client does not have, to see why
 *
 * Each read or write of a shared word is one step, in the order of the code; the programs access
 * memory so that it keeps this order. A poll is modelled as a wait for a change of what it reads:
 * other polls have no effect.
 */

#define SHOW   1 /* vorlinctl show mac: done while the daemon has the lock */
#define START  2 /* vorlinctl start: leaves a task, which ends with the first dwell */
#define PLAIN  3 /* the simple client's show mac */
#define LATER  4 /* vorlinctl restart, when all other clients have ended */
#define DAEMON 5

#ifndef KILLS
#define KILLS 0
#endif
#define NO_UNDO       1
#define DONE_TOO_SOON 2
#define FLAG_LAST     3
#define NO_TURN       4
#define SIGNAL_FIRST  5
#ifndef BROKEN
#define BROKEN 0
#endif

/* What a simple client cannot rely on: each of these fails, with a run that shows why. */
#define CLAIM_HEARD 1 /* if it sees the end of its command, that was interpreted */
#define CLAIM_ENDS  2 /* it sees an end */
#define CLAIM_WHOLE 3 /* if it is killed while it writes, it leaves no half command */
#define CLAIM_LOCK  4 /* it keeps its lock while the daemon restarts */
#define CLAIM_LIVES 5 /* its signal does no harm */
#ifndef CLAIM
#define CLAIM 0
#endif

/* Without a simple client, a lost lock does no harm. */
#ifdef SIMPLE
#define EXCUSED (stale && CLAIM != CLAIM_LOCK)
#else
#define EXCUSED false
#endif

/* The kernel: the living processes, the semaphore and its undo values, the signals. */
bool alive[6];
byte lives = 0;          /* the number of daemon starts: stands for its process id */
bool handlers = false;   /* installed in the running daemon; without them a signal ends it */
bool flag_cmd_change = false;
bool flag_uevent_change = false;
byte semaphore = 0;      /* its value at creation */
short undo[6];
byte last = 0;           /* the process that changed the semaphore last: GETPID */

/* The segment. */
byte turn = 0;           /* the first word, for clients */
byte cmd_doing = 0;
byte word[2];            /* the writers of the command's words; two, to find mixed commands */
byte action = 0;         /* 0 or START: the beacon task */
byte status = 0;         /* 1: no usable controller, 2: usable, 3: beacons on the air */

/* For the properties only; no process reads it. */
bool half = false;        /* the simple client's words are half written */
bool stale = false;       /* a client went on with a lock that a new daemon had released */
bool ends_daemon = false; /* its signal came before the daemon had handlers */
byte interpreted[5];     /* how often a client's complete command was interpreted, up to 2 */
bool submitted[5];
bool started[5];          /* a client's task ran to the end of its first dwell */

#define LOCK_LOST(who) (undo[who] == 0)

inline change_semaphore(who, by)
{
	semaphore = semaphore + by;
	undo[who] = undo[who] - by;
	last = who;
}

/* SETVAL: the kernel also clears the undo values of all processes. */
inline set_semaphore(who)
{
	d_step {
		semaphore = 1;
		undo[SHOW] = 0; undo[START] = 0; undo[PLAIN] = 0; undo[LATER] = 0;
		undo[DAEMON] = 0;
		last = who;
	}
}

/* The kernel applies the undo value; the semaphore never goes below 0. */
inline undo_all(who)
{
	if
	:: undo[who] != 0 ->
		last = who;
		if
		:: semaphore + undo[who] < 0 -> semaphore = 0
		:: else -> semaphore = semaphore + undo[who]
		fi
	:: else
	fi;
	undo[who] = 0
}

/* A process exits or is killed. */
inline end_of(who)
{
	d_step {
		alive[who] = false;
		undo_all(who)
	}
}

/* kill(2): a signal without a handler ends the daemon. */
inline deliver(flag)
{
	if
	:: handlers -> flag = true
	:: else -> end_of(DAEMON)
	fi
}

inline take_lock_of(who)
{
	atomic { semaphore > 0 -> change_semaphore(who, -1) }
#if BROKEN == NO_UNDO
	undo[who] = 0;
#endif
}

inline give_lock_of(who)
{
	d_step {
		change_semaphore(who, 1);
#if BROKEN == NO_UNDO
		undo[who] = 0;
#endif
	}
}

/* [give_back_lock] like the end of the process: no effect if a new daemon has released the lock */
inline give_back_lock(who)
{
#if BROKEN == NO_UNDO
	give_lock_of(who);
#else
	d_step { undo_all(who) }
#endif
}

/* ---------------------------------------------------------------- the daemon */

byte first_word, second_word; /* the daemon's copies */
bool taken;

inline interpret()
{
	/* [user_cmd_change] */
	take_lock_of(DAEMON);
	first_word = word[0];
	second_word = word[1];
	atomic {
		assert(first_word == 0 || first_word == second_word ||
		       (half && CLAIM != CLAIM_WHOLE) || EXCUSED); /* never mixed */
		if
		:: first_word != 0 && submitted[first_word] && interpreted[first_word] < 2 ->
			interpreted[first_word]++
		:: else
		fi;
		if
		:: first_word == START || first_word == LATER -> action = START
		:: else
		fi;
		first_word = 0;
		second_word = 0
	}
	give_lock_of(DAEMON)
}

inline has_started()
{
	started[START] = started[START] || of_start;
	started[LATER] = started[LATER] || of_later;
	of_start = false;
	of_later = false
}

proctype Daemon()
{
	bool of_start, of_later;

restart:
	atomic {
		lives++;
		alive[DAEMON] = true;
		handlers = false;
		flag_cmd_change = false;
		flag_uevent_change = false;
		taken = false;
		first_word = 0;
		second_word = 0
	}
	{
		/* [ipc_init] takes over the objects of a crashed daemon and releases its lock */
		set_semaphore(DAEMON);
		/* [system_data_init] */
		handlers = true;
		/* [ble_chip_init] */
		status = 2;
		/* [run_daemon_task] */
		cmd_doing = 0;

end_idle:	do
		:: flag_uevent_change || flag_cmd_change -> /* the sleep or the dwell ends */
			/* [take_events] each flag is cleared before it is handled */
			if
			:: flag_uevent_change ->
				flag_uevent_change = false;
				/* [uevent_change] */
				status = 1;
				status = 2;
				taken = true
			:: else
			fi;
			if
			:: flag_cmd_change ->
#if BROKEN != FLAG_LAST
				flag_cmd_change = false;
#endif
				interpret();
#if BROKEN == FLAG_LAST
				flag_cmd_change = false;
#endif
				taken = true
			:: else
			fi;
			/* [run_pending_task] */
			if
			:: taken && action == START ->
				/* [do_beacon_advertising] up to the end of the first dwell */
				atomic {
					of_start = interpreted[START] > 0;
					of_later = interpreted[LATER] > 0
				};
				/* [announce] */
#if BROKEN == DONE_TOO_SOON
				cmd_doing = 0;
				atomic { status = 3; has_started() }
#else
				atomic { status = 3; has_started() };
				cmd_doing = 0
#endif
			:: taken && action != START ->
				/* [run_daemon_task] after the report */
				cmd_doing = 0
			:: else
			fi;
			taken = false
		od
	} unless {
		!alive[DAEMON]
	};
	/* the service manager */
	goto restart
}

/* ---------------------------------------------------------------- vorlinctl */

#define DIED_WITH_LOCK (last != DAEMON && last != me && !alive[last])
#define GONE (!alive[DAEMON] || lives != daemon)

#ifdef LIMITS
#define TIME_LIMIT(where) :: atomic { me != LATER -> goto where }
#else
#define TIME_LIMIT(where)
#endif

inline signal_daemon()
{
	assert(undo[me] == 0); /* else the daemon and its beacons would wait for the lock */
	/* [session_alive] */
	if
	:: !GONE
	:: atomic { GONE -> goto gives_turn }
	fi;
	if
	:: atomic { !GONE -> deliver(flag_cmd_change) }
	:: atomic { GONE -> goto gives_turn }
	fi
}

proctype Vorlinctl(byte me)
{
	byte daemon; /* the process id that it noted */
	byte seen;

	{
		/* [session_try] ends with a message without a daemon */
		atomic { alive[DAEMON] -> daemon = lives };
#if BROKEN != NO_TURN
again:		/* [take_turn] also from a dead client */
		if
		:: atomic { turn == 0 || !alive[turn] -> seen = turn }
		:: atomic { GONE -> goto ends }
		TIME_LIMIT(ends)
		fi;
		if
		:: atomic { turn == seen -> turn = me; seen = 0 }
		:: atomic { turn != seen -> seen = 0; goto again }
		fi;
#endif
		/* [wait_for_foreign_command] takes at most a second: may end at any moment */
		/* [take_lock] */
		if
		:: handlers && !GONE
		:: atomic { GONE -> goto gives_turn }
		TIME_LIMIT(gives_turn)
		fi;
		if
		:: take_lock_of(me)
		TIME_LIMIT(gives_turn)
		fi;
		/* [write_words] the first word last: a half command counts as none */
		atomic { word[0] = 0; stale = stale || LOCK_LOST(me) };
		atomic { word[1] = me; stale = stale || LOCK_LOST(me) };
		cmd_doing = me;
		atomic { word[0] = me; stale = stale || LOCK_LOST(me); submitted[me] = true };
		/* [session_run] */
#if BROKEN == SIGNAL_FIRST
		signal_daemon();
		give_back_lock(me);
#else
		give_back_lock(me);
		signal_daemon();
#endif
		/* [is_done] */
polls:		if
		:: cmd_doing == 0
		/* [words_stand] overwritten: it is unknown whether the daemon had read them */
		:: atomic { word[0] != me || word[1] != me -> goto gives_turn }
		:: atomic { GONE -> goto gives_turn }
		TIME_LIMIT(gives_turn)
		fi;
		if
		:: atomic {
			last != DAEMON -> (last == DAEMON || cmd_doing != 0 || GONE || DIED_WITH_LOCK) ->
			goto polls
		}
		:: last == DAEMON
#ifdef SIMPLE
		/* the last process died with the lock: the time limit ends this wait */
		:: atomic { DIED_WITH_LOCK -> goto gives_turn }
#endif
		fi;
		if
		:: atomic { semaphore == 0 -> (semaphore > 0 || cmd_doing != 0 || GONE) -> goto polls }
		:: semaphore > 0
		fi;
		/* [start_settled] */
		if
		:: me == SHOW || status < 2 || status == 3 || action != START
		:: else -> (status != 2 || action != START || GONE) -> goto polls
		fi;
		/* [wait_for_end] a new daemon's start looks like the end of the command */
		if
		:: !GONE
		:: atomic { GONE -> goto gives_turn }
		fi;
		/* [words_stand] */
		if
		:: word[0] == me && word[1] == me
		:: atomic { word[0] != me || word[1] != me -> goto gives_turn }
		fi;
		/* [perform] reports the command as done */
		atomic {
			assert(interpreted[me] > 0 || EXCUSED);
#if !defined(SIMPLE) && !defined(LIMITS) && KILLS == 0
			assert(interpreted[me] == 1);
#endif
			assert(me == SHOW || started[me] || status < 2 || EXCUSED)
		};
gives_turn:	/* [session_give_turn] */
		if
		:: atomic { turn == me -> turn = 0 }
		:: turn != me
		fi;
ends:		end_of(me)
	} unless {
		!alive[me]
	}
}

#ifdef SIMPLE
/* ---------------------------------------------------------------- another program's client */

proctype Simple()
{
	byte daemon;

	{
#ifdef CAREFUL
		/* docs/protocol.md: look at the daemon, first word last, precise unlock */
		atomic { alive[DAEMON] && handlers -> daemon = lives };
		take_lock_of(PLAIN);
		atomic { word[0] = 0; stale = stale || LOCK_LOST(PLAIN) };
		atomic { word[1] = PLAIN; stale = stale || LOCK_LOST(PLAIN) };
		cmd_doing = PLAIN;
		atomic { word[0] = PLAIN; stale = stale || LOCK_LOST(PLAIN); submitted[PLAIN] = true };
		give_back_lock(PLAIN);
		if
		:: atomic { !GONE -> deliver(flag_cmd_change) }
		:: atomic { GONE -> goto ends }
		fi;
		cmd_doing == 0 || GONE;
#else
		/* lock, write, cmd_doing, unlock, signal, poll */
		take_lock_of(PLAIN);
		atomic { word[0] = PLAIN; half = true; stale = stale || LOCK_LOST(PLAIN) };
		atomic {
			word[1] = PLAIN;
			half = false;
			stale = stale || LOCK_LOST(PLAIN);
			submitted[PLAIN] = true
		};
		cmd_doing = PLAIN;
		d_step {
			stale = stale || LOCK_LOST(PLAIN);
			change_semaphore(PLAIN, 1)
		};
		if
		:: atomic { alive[DAEMON] -> ends_daemon = !handlers; deliver(flag_cmd_change) }
		:: !alive[DAEMON] /* nobody to signal */
		fi;
		cmd_doing == 0;
#endif
		assert(CLAIM != CLAIM_HEARD || interpreted[PLAIN] > 0);
ends:		end_of(PLAIN)
	} unless {
		!alive[PLAIN]
	}
}
#endif

#ifdef HOTPLUG
proctype Hotplug()
{
	/* packaging/hotplug checks that the daemon has a handler */
	if
	:: alive[DAEMON] && handlers -> flag_uevent_change = true
	:: !alive[DAEMON] || !handlers
	fi
}
#endif

#if KILLS > 0
proctype Killer()
{
	byte left = KILLS;

	do
	:: atomic { left > 0 && alive[SHOW] -> end_of(SHOW); left-- }
	:: atomic { left > 0 && alive[START] -> end_of(START); left-- }
	:: atomic { left > 0 && alive[PLAIN] -> end_of(PLAIN); left-- }
	:: atomic { left > 0 && alive[DAEMON] && lives == 1 -> end_of(DAEMON); left-- }
	:: break
	od
}
#endif

/* At a timeout no process can go on: a client that still lives would wait for ever. */
init
{
	atomic {
		alive[SHOW] = true;
		alive[START] = true;
		run Daemon();
		run Vorlinctl(SHOW);
		run Vorlinctl(START);
#ifdef SIMPLE
		alive[PLAIN] = true;
		run Simple();
#endif
#ifdef HOTPLUG
		run Hotplug();
#endif
#if KILLS > 0
		run Killer();
#endif
	}
	atomic {
		timeout ->
		assert(!alive[SHOW] && !alive[START]);
		assert(!alive[PLAIN] || CLAIM != CLAIM_ENDS);
		assert(!ends_daemon || CLAIM != CLAIM_LIVES);
		assert(semaphore == 1 || (semaphore == 2 && EXCUSED)); /* the lock is always released */
		alive[LATER] = true;
		run Vorlinctl(LATER)
	}
	atomic {
		timeout ->
		assert((!alive[LATER] && interpreted[LATER] == 1) || EXCUSED)
	}
}

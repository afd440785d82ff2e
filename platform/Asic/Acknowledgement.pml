/* How a change comes from the agent to the hardware and its acknowledgement back, with either side
 * killed at any instant: what EntryLogWrite.h, Announcements.cpp, apps/hw/TableFollower.cpp and the
 * start of both do, store by store. spin looks at every interleaving.
 *
 *     tests/protocol/check_model.py platform/Asic/Acknowledgement.pml
 *
 * Two tables: 0 of actions, 1 of entries. The agent writes CHANGES pairs; the entry of a pair needs
 * its action. Each table has one key, and its n-th change has version n unless a crash has lost it. A
 * file's stores become visible in their order (platform/Slate/Store.pml is about the store itself).
 *
 * What must hold:
 *   - the hardware never has an entry before the action that it needs;
 *   - a change is acknowledged only when the hardware has it, and what is acknowledged is never taken
 *     back while its table's files live;
 *   - the hardware side never looks at a change that is not whole: in the log, with its needed places;
 *   - when both sides live and nothing is left to do, the hardware has what the configuration tables
 *     say, all that was logged is acknowledged, and the log is empty.
 *
 * FAULT: announce_before_log, announce_before_needed, scratchpad_before_log, acknowledge_first,
 *        no_needed_at_restart, no_audit, trim_before_acknowledged
 */
#ifndef CHANGES
#define CHANGES 2
#endif
#define KILLS 1
#define VERSIONS 6 /* a version is below this */

/* --- files of the agent, per table */
byte config[2];        /* the value of the key; 0 absent */
byte configVersion[2]; /* and the version of its record */
typedef Log { byte value[VERSIONS] } /* by version; 0: no record */
Log log[2];
byte scratchpad[2];
byte announced[2];
typedef Needed { byte place[VERSIONS] } /* version in the other table's log; 0 none */
Needed needed[2];
byte agentRun;

/* --- the file of the hardware side */
byte applied[2];

/* --- the hardware */
byte hardware[2];

/* --- ghosts */
bool agentDead, hwDead, agentDone;
byte agentKills, hwKills;
byte written; /* pairs that the agent has begun */
byte value;   /* of the newest change; values are never used again */
byte action;    /* value of the newest action that is logged */
byte needs[VERSIONS + 1]; /* by value of an entry: the action that it was written for */
bool hwIdle;   /* the hardware side has seen all there is, of this run of the agent */

inline commit(t, behind) {
    d_step {
        version = scratchpad[t] + 1;
        value++;
        if
        :: t == 0
        :: else -> needs[value] = action
        fi
    };
    d_step { config[t] = value; configVersion[t] = version };
#ifdef FAULT_announce_before_log
    announced[t] = version;
#endif
#ifdef FAULT_scratchpad_before_log
    scratchpad[t] = version;
    log[t].value[version] = value;
#else
    log[t].value[version] = value;
    d_step {
        scratchpad[t] = version;
        if
        :: t == 0 -> action = value
        :: else
        fi
    };
#endif
#ifdef FAULT_announce_before_needed
    announced[t] = version;
    needed[t].place[version] = behind
#else
    needed[t].place[version] = behind;
    announced[t] = version
#endif
}

/* Records up to what is acknowledged go. */
inline trim(t) {
    seen = applied[t];
#ifdef FAULT_trim_before_acknowledged
    seen = announced[t];
#endif
    d_step {
        version = 1;
        do
        :: version <= seen -> log[t].value[version] = 0; version++
        :: else -> break
        od
    }
}

/* What was logged and not announced is announced behind everything that was announced before. */
inline startTable(t) {
    if
    :: announced[t] < scratchpad[t] ->
#ifndef FAULT_no_needed_at_restart
        needed[t].place[announced[t] + 1] = announced[1 - t];
#endif
        announced[t] = scratchpad[t]
    :: else
    fi;
    trim(t)
}

proctype Agent() {
    byte version, seen;
begin:
    {
        agentRun++;
        startTable(0);
        startTable(1);
        do
        :: written < CHANGES ->
            written++;
            commit(0, 0);
            commit(1, scratchpad[0])
        :: trim(0)
        :: trim(1)
        :: written == CHANGES && applied[0] == announced[0] && applied[1] == announced[1] -> break
        od;
        trim(0);
        trim(1);
        agentDone = true
    } unless { agentDead };
    if
    :: agentDead -> d_step { agentDead = false; version = 0; seen = 0 }; goto begin
    :: else
    fi
}

/* Programs a value; an entry must find its action, or a newer one. */
inline program(t, what) {
    d_step {
        assert(t == 0 || hardware[0] >= needs[what]);
        hardware[t] = what
    }
}

/* The hardware must have it, or a newer one. */
inline acknowledge(t) {
    d_step {
        assert(hardware[t] >= what);
        applied[t] = next
    }
}

inline follow(t) {
    next = applied[t] + 1;
    if
    :: announced[t] >= next ->
        place = needed[t].place[next];
        if
        :: applied[1 - t] >= place ->
            what = log[t].value[next];
            assert(what != 0); /* a change is in the log before it is announced, until it is applied */
#ifdef FAULT_acknowledge_first
            acknowledge(t);
            program(t, what)
#else
            program(t, what);
            acknowledge(t)
#endif
        :: else
        fi
    :: else
    fi
}

/* Compares and programs the difference, when another run of the agent has begun and all that is
 * announced is applied. What has a version above the applied one is still to come through the log, or
 * a dead agent has left it: it is taken when nothing comes any more. */
inline audit() {
    run_ = agentRun;
    if
    :: run_ != auditedRun && applied[0] == announced[0] && applied[1] == announced[1] ->
#ifndef FAULT_no_audit
        compare(0, false);
        compare(1, false);
#endif
        auditedRun = run_
    :: else
    fi
}

inline compare(t, leftovers) {
    d_step { next = configVersion[t]; what = config[t] }; /* one record */
    if
    :: what != 0 && (next <= applied[t] || leftovers) -> program(t, what)
    :: else
    fi
}

proctype HardwareSide() {
    byte next, place, what, run_, auditedRun;
begin:
    {
        do
        :: follow(0)
        :: follow(1)
        :: audit()
        :: agentDone && auditedRun == agentRun && applied[0] == announced[0] &&
           applied[1] == announced[1] -> break
        od;
#ifndef FAULT_no_audit
        compare(0, true);
        compare(1, true);
#endif
        hwIdle = true
    } unless { hwDead };
    if
    :: hwDead ->
        d_step { hwDead = false; next = 0; place = 0; what = 0; run_ = 0; auditedRun = 0 };
        goto begin
    :: else
    fi
}

proctype Killer() {
    do
    :: d_step { agentKills < KILLS && !agentDead && !agentDone -> agentDead = true; agentKills++ }
    :: d_step { hwKills < KILLS && !hwDead && !hwIdle -> hwDead = true; hwKills++ }
    :: break
    od
}

proctype Observer() {
    byte version;
    atomic {
        hwIdle && !agentDead && !hwDead;
        assert(hardware[0] == config[0] && hardware[1] == config[1]);
        assert(applied[0] == scratchpad[0] && applied[1] == scratchpad[1]);
        version = 1;
        do /* above the scratchpad may be what a crash has left; the next change replaces it */
        :: version < VERSIONS ->
            assert(version > scratchpad[0] || log[0].value[version] == 0);
            assert(version > scratchpad[1] || log[1].value[version] == 0);
            version++
        :: else -> break
        od
    }
}

init {
    atomic { run Agent(); run HardwareSide(); run Killer(); run Observer() }
}

/* The protocol between the writer of a store file, a reader in another process, and the writer that
 * comes up after a kill: what Store.cpp, Directory.cpp, SlotArea.cpp and Recovery.cpp do, store by
 * store and load by load. spin looks at every interleaving, every instant of death (also within the
 * recovery), and every delay of a store that the memory order allows.
 *
 *     tests/protocol/check_model.py platform/Slate/Store.pml      holds; and each FAULT below is found
 *
 * At the start both keys have a record.
 * One chain of CELLS entry words without overflow buckets, SLOTS slots, keys 1 and 2. The n-th value that is put under a key
 * is n. A checksum is what it was computed from. A release store may become visible late, up to the
 * writer's next release fence (`late`); a dead writer's stores do become visible.
 *
 * What must hold:
 *   - a lookup gives a value that the key had at some instant of the lookup, or says that it is
 *     absent if it was at some instant; and it never takes a change for damage;
 *   - a lookup ends within a bound on its tries, whether the writer lives or not;
 *   - behind a recovery the store holds what it held at the death, and nothing of an operation that
 *     was cut short is left that a later repair would take for a lost record.
 *
 * FAULT: publish_before_payload, old_freed_before_new, no_fence, no_shape, no_recheck, no_journal,
 *        move_before_copy, no_leftover, no_word_check,
 *        no_shape_in_recovery
 */
#define CELLS 2
#define SLOTS 3
#define KEYS 2
#ifndef OPERATIONS
#define OPERATIONS 2
#endif
#define KILLS 1
#define LOOKUPS 1
#define MOST_TRIES 9

#define NEVER 0
#define WRITING 1
#define LIVE 2
#define RETIRED 3

/* --- the file */
typedef Slot {
    byte state;    /* state word: state ... */
    byte sequence; /* ... and sequence */
    byte key;
    byte value;
    byte sumSequence; /* checksum: of what */
    byte sumKey;
    byte sumValue
}
Slot slot[SLOTS];
byte word[CELLS]; /* entry word: key * 8 + slot + 1; 0 empty */
byte shape;
byte journalTaken;
byte journalReleased;
byte sequenceLimit;

#define packed(k, s) ((k) * 8 + (s) + 1)
#define keyOf(w) ((w) / 8)
#define slotOf(w) ((w) % 8 - 1)
#define wholeSlot(s)                                                                               \
    (slot[s].state == LIVE && slot[s].sumSequence == slot[s].sequence &&                           \
     slot[s].sumKey == slot[s].key && slot[s].sumValue == slot[s].value)

/* --- what is true, for the properties */
byte now[KEYS + 1];      /* value of each key as anybody can see it; 0 absent */
byte had[KEYS + 1];      /* bit n: the key had value n during the lookup under way */
byte newest[KEYS + 1];   /* last value that was put */
bool dead;
byte operations;
byte kills;

#define becomes(k, v)                                                                              \
    now[k] = v;                                                                                    \
    had[k] = had[k] | (1 << (v))

/* --- the writer's memory; lost with it */
byte own[CELLS]; /* entry words as it has stored them */
byte free;       /* bit s: slot s may be taken */
/* Stores that nobody sees yet, in order: the swing of a cell and the retirement of a slot. */
byte lateCell;
byte lateWord;
byte lateValue;
byte lateKey;
byte lateSlot;
bool late;

inline makeVisible() {
    d_step {
        if
        :: late ->
            word[lateCell] = lateWord;
            becomes(lateKey, lateValue);
            slot[lateSlot].state = RETIRED;
            late = false
        :: else
        fi;
        lateCell = 0; lateWord = 0; lateValue = 0; lateKey = 0; lateSlot = 0
    }
}

inline writePayload(s, k, v, q) {
    slot[s].value = v;
    d_step { slot[s].sumSequence = q; slot[s].sumKey = k; slot[s].sumValue = v };
    slot[s].key = k
}

inline fillSlot(s, k, v, q, released) {
    d_step { journalTaken = s + 1; journalReleased = released };
#ifdef FAULT_no_fence
    writePayload(s, k, v, q);
    makeVisible();
    d_step { slot[s].state = WRITING; slot[s].sequence = q }
#else
    makeVisible(); /* not later than the fence behind this store */
    d_step { slot[s].state = WRITING; slot[s].sequence = q };
    writePayload(s, k, v, q)
#endif
    ;
    slot[s].state = LIVE
}

inline put(k) {
    d_step {
        cell = 0;
        do
        :: cell < CELLS && own[cell] != 0 && keyOf(own[cell]) != k -> cell++
        :: else -> break
        od;
        assert(cell < CELLS);
        old = own[cell];
        newest[k]++;
        sequence = sequenceLimit;
        sequenceLimit++
    };
    if /* any slot that is free */
    :: free & 1 -> taken = 0
    :: free & 2 -> taken = 1
    :: free & 4 -> taken = 2
    fi;
#ifdef FAULT_publish_before_payload
    d_step { word[cell] = packed(k, taken); own[cell] = word[cell]; becomes(k, newest[k]) };
    fillSlot(taken, k, newest[k], sequence, 0);
    if
    :: old != 0 -> slot[slotOf(old)].state = RETIRED; free = free | (1 << slotOf(old))
    :: else
    fi
#else
    if
    :: old != 0 ->
#ifdef FAULT_old_freed_before_new
        slot[slotOf(old)].state = RETIRED;
#endif
        fillSlot(taken, k, newest[k], sequence, slotOf(old) + 1);
        d_step {
            own[cell] = packed(k, taken);
            late = true; lateCell = cell; lateWord = own[cell];
            lateKey = k; lateValue = newest[k]; lateSlot = slotOf(old);
            free = free | (1 << slotOf(old))
        };
        if :: true -> makeVisible() :: true fi
    :: else ->
        fillSlot(taken, k, newest[k], sequence, 0);
        d_step { own[cell] = packed(k, taken); word[cell] = own[cell]; becomes(k, newest[k]) }
    fi
#endif
    ;
    free = free & ~(1 << taken)
}

/* The hole is filled with the chain's last word. */
inline erase(k) {
    d_step {
        cell = 0;
        do
        :: cell < CELLS && (own[cell] == 0 || keyOf(own[cell]) != k) -> cell++
        :: else -> break
        od;
        old = own[cell];
        last = CELLS - 1;
        do
        :: own[last] == 0 -> last--
        :: else -> break
        od
    };
    makeVisible();
    d_step { journalTaken = 0; journalReleased = slotOf(old) + 1 };
    if
    :: last == cell -> d_step { word[cell] = 0; own[cell] = 0; becomes(k, 0) }
    :: else ->
#ifdef FAULT_move_before_copy
        d_step { word[last] = 0 };
#endif
        d_step { word[cell] = own[last]; own[cell] = own[last]; becomes(k, 0) };
#ifndef FAULT_no_shape
        shape++;
#endif
        d_step { word[last] = 0; own[last] = 0 }
    fi;
    slot[slotOf(old)].state = RETIRED;
    free = free | (1 << slotOf(old))
}

/* Words stand as they are; the second word of a move goes; then the slots of an operation that was
 * cut short. */
inline recover() {
#ifndef FAULT_no_shape_in_recovery
    shape++; /* the dead writer may have moved a word and not have said so */
#endif
    d_step {
        used = 0; cell = 0; old = CELLS;
        do
        :: cell < CELLS ->
            own[cell] = word[cell];
            if
            :: word[cell] != 0 && (used & (1 << slotOf(word[cell]))) != 0 -> old = cell
            :: word[cell] != 0 -> used = used | (1 << slotOf(word[cell]))
            :: else
            fi;
            cell++
        :: else -> break
        od
    };
#ifndef FAULT_no_leftover
    if
    :: old < CELLS -> d_step { word[old] = 0; own[old] = 0 }
    :: else
    fi;
#endif
#ifndef FAULT_no_journal
    if
    :: journalTaken != 0 && !(used & (1 << (journalTaken - 1))) &&
       (slot[journalTaken - 1].state == LIVE || slot[journalTaken - 1].state == WRITING) ->
        slot[journalTaken - 1].state = RETIRED
    :: else
    fi;
    if
    :: journalReleased != 0 && !(used & (1 << (journalReleased - 1))) &&
       (slot[journalReleased - 1].state == LIVE || slot[journalReleased - 1].state == WRITING) ->
        slot[journalReleased - 1].state = RETIRED
    :: else
    fi;
#endif
    d_step {
        free = 7 & ~used;
        cell = 0;
        do /* no slot that a repair would enter, no word that leads astray, no word twice */
        :: cell < SLOTS ->
            assert(slot[cell].state != LIVE || (used & (1 << cell)));
            cell++
        :: else -> break
        od;
        taken = 1;
        do
        :: taken <= KEYS ->
            cell = 0; last = 0;
            do
            :: cell < CELLS ->
                if
                :: word[cell] != 0 && keyOf(word[cell]) == taken ->
                    assert(wholeSlot(slotOf(word[cell])));
                    assert(slot[slotOf(word[cell])].key == taken);
                    assert(slot[slotOf(word[cell])].value == now[taken]);
                    last++
                :: else
                fi;
                cell++
            :: else -> break
            od;
            assert(last == (now[taken] != 0 -> 1 : 0));
            taken++
        :: else -> break
        od;
        used = 0; cell = 0; old = 0; last = 0; taken = 0; sequence = 0
    }
}

init {
    d_step {
        slot[0].state = LIVE; slot[0].key = 1; slot[0].value = 1; slot[0].sumKey = 1;
        slot[0].sumValue = 1;
        slot[1].state = LIVE; slot[1].key = 2; slot[1].value = 1; slot[1].sumKey = 2;
        slot[1].sumValue = 1; slot[1].sequence = 1; slot[1].sumSequence = 1;
        word[0] = packed(1, 0); word[1] = packed(2, 1);
        now[1] = 1; now[2] = 1; newest[1] = 1; newest[2] = 1; sequenceLimit = 2
    };
    atomic { run Writer(); run Killer(); run Reader() }
}

proctype Writer() {
    byte cell, old, last, taken, used, sequence;
begin:
    {
        recover();
        do
        :: operations < OPERATIONS ->
            operations++;
            if
            :: put(1)
            :: put(2)
            :: own[0] != 0 && keyOf(own[0]) == 1 || own[1] != 0 && keyOf(own[1]) == 1 -> erase(1)
            :: own[0] != 0 && keyOf(own[0]) == 2 || own[1] != 0 && keyOf(own[1]) == 2 -> erase(2)
            fi;
            d_step { cell = 0; old = 0; last = 0; taken = 0; sequence = 0 }
        :: operations >= OPERATIONS -> break
        od;
        makeVisible()
    } unless { dead };
    if
    :: dead ->
        makeVisible(); /* what was stored is stored */
        d_step {
            dead = false;
            own[0] = 0; own[1] = 0; free = 0;
            cell = 0; old = 0; last = 0; taken = 0; used = 0; sequence = 0
        };
        goto begin
    :: else
    fi
}

proctype Killer() {
    do
    :: kills < KILLS && !dead -> d_step { dead = true; kills++ }
    :: break
    od
}

proctype Reader() {
    byte k, c, w, seenShape, state, sequence, key, value, sumSequence, sumKey, sumValue, tries, s;
    byte lookups;
again:
    do
    :: lookups < LOOKUPS ->
        lookups++;
        if :: k = 1 :: k = 2 fi;
        d_step { had[k] = 1 << now[k]; tries = 0 };
look:
        tries++;
        assert(tries <= MOST_TRIES);
        seenShape = shape;
        c = 0;
        do
        :: c < CELLS ->
            w = word[c];
            if
            :: w != 0 && keyOf(w) == k -> break
            :: else -> c++
            fi
        :: c == CELLS -> break
        od;
        if
        :: c == CELLS ->
            if
            :: shape != seenShape -> goto look
            :: else
            fi;
            assert(had[k] & 1) /* absent: it was */
        :: else ->
            s = slotOf(w);
            d_step { state = slot[s].state; sequence = slot[s].sequence };
            key = slot[s].key;
            d_step {
                sumSequence = slot[s].sumSequence; sumKey = slot[s].sumKey;
                sumValue = slot[s].sumValue
            };
            value = slot[s].value;
            if
            :: slot[s].state != state || slot[s].sequence != sequence -> goto look
            :: else
            fi;
            if
            :: state == LIVE && sumSequence == sequence && sumKey == key && sumValue == value &&
               key == k ->
#ifndef FAULT_no_word_check
                if /* else the slot may hold what is not published yet */
                :: word[c] != w -> goto look
                :: else
                fi;
#endif
                assert(had[k] & (1 << value)) /* found: it had this value */
            :: else ->
#ifndef FAULT_no_recheck
                if
                :: word[c] != w -> goto look
                :: else
                fi;
                if
                :: slot[s].state != state || slot[s].sequence != sequence -> goto look
                :: else
                fi;
#endif
                assert(false) /* a change was taken for damage */
            fi
        fi;
        d_step {
            c = 0; w = 0; seenShape = 0; state = 0; sequence = 0; key = 0; value = 0;
            sumSequence = 0; sumKey = 0; sumValue = 0; tries = 0; s = 0
        }
    :: lookups == LOOKUPS -> break
    od
}

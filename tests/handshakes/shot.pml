/*
 * The flags by which a shot is handed on, for a model checker: every order of the threads' single loads and stores,
 * not only those that a clock would let happen.
 *
 *   remote, phone   ask for shots through remoteCapCmd; the remote looks whether the mailbox is empty, the phone does
 *                   not, but waits until its command is taken
 *   control         takes commands and presses, waits for the result, loads raw frames, switches off
 *   snap            takes the shot: needCapture, needSave, rawLoadInfo; leaves on needQuit
 *   main            waits for snap, clears needQuit
 *
 * A status stands for all values that are treated alike. Time is left out but for one thing that the code leans on: a
 * raw frame is taken 200 ms after it was asked for, and control loads every 80 ms (KEEPS_PACE).
 *
 * check.sh says which properties are looked at, with what, and which of them must fail.
 */
mtype = {idle, accepted, running, failed, code};

mtype needCapture = idle, needSave = idle;
bool remoteCapCmd = false;
byte rawLoadInfo = 0;  /* 0 is empty */
byte needQuit = 0;

/* What is proved of. */
byte posted = 0, overwritten = 0;  /* commands stored; stored over one that was not taken */
byte presses = 0;
byte taken = 0;          /* shots that control began */
byte begun = 0, ended = 0;  /* shots that snap began and ended, however; a restart is the same shot */
byte good = 0;           /* shots that control told as saved */
byte saved = 0;          /* shots that snap saved */
bool owns = false;       /* snap has yet to speak its last word on a shot: nobody else stores the two flags */
bool inShot = false;     /* ... or the array has yet to rest */
byte loaded = 0;         /* raw frame that the array holds */
byte turns = 0;          /* of control's loading since the last request */
bool off = false, leftOpen = false, cut = false;

#ifndef POSTS
#define POSTS 2
#endif

#define busy (needSave == accepted || needSave == running)

inline Post() {
  if
  :: remoteCapCmd -> overwritten++
  :: else
  fi;
  remoteCapCmd = true;
  posted++
}

active proctype Remote() {
  byte i = 0;
  do
  :: i < POSTS && !needQuit ->
    i++;
    if
    :: !busy ->
      if
      :: !remoteCapCmd -> d_step { Post() }
      :: else
      fi
    :: else
    fi
  :: true -> break
  od
}

#ifdef PHONE
active proctype Phone() {
  byte i = 0;
  do
  :: i < POSTS && !needQuit ->
    i++;
    if
    :: !busy -> d_step { Post() };
waits: !remoteCapCmd
    :: else
    fi
  :: true -> break
  od
}
#endif

inline Status(both) {
  assert(!owns);
  needSave = both;
  needCapture = both
}

inline FollowSave() {
  do
  :: seen = needCapture;
    if
    :: needSave != running || (seen != idle && seen != running) -> break
    :: else
    fi;
    raw = rawLoadInfo;
    if
    :: raw != 0 -> d_step { loaded = raw; turns = (turns < 2 -> turns + 1 : 2) }
    :: else
    fi
  od
}

inline Shot() {
  taken++;
  Status(accepted);
  if
  :: Status(idle)  /* a series that was stopped in its countdown; a full disk is told alike */
  :: Status(running);
#ifdef READS_TWICE  /* in between, snap may begin anew */
    (needCapture != running);
    seen = needCapture;
#else
    d_step { needCapture != running -> seen = needCapture };
#endif
    if
    :: seen != idle -> Status(failed)
    :: else ->
      FollowSave();
      if
      :: needSave != idle -> Status(failed)
      :: else -> good++
      fi
    fi
  fi
}

active proctype Control() {
  mtype seen;
  byte raw;
  do
  :: presses < 1 -> presses++; Shot()
  :: remoteCapCmd -> remoteCapCmd = false; Shot()
  :: atomic { true -> needQuit = 1 }; break  /* a long press, or no battery: at any pass */
  od;
  needQuit == 0;  /* the limit that ends a hung tear-down is left out */
  cut = true
}

/* The last word on a shot is spoken before the array rests; only then does snap look up again. */
inline LastWord(flag, status) {
  d_step { flag = status; owns = false };
  d_step { inShot = false; ended++ }
}

active proctype Snap() {
  byte restarts = 0, frame;
end:
  do
  :: needQuit -> break
  :: needCapture == running ->
    d_step {
      if
      :: !owns -> begun++
      :: else  /* a restart is the same shot */
      fi;
      owns = true;
      inShot = true
    };
    if
    :: LastWord(needCapture, code)  /* it does not open */
    :: needCapture = idle;
      if
      :: restarts < 2 -> restarts++; needCapture = running  /* frames were lost */
      :: LastWord(needSave, code)
      :: frame = 1;
        do
        :: frame <= 2 ->
          d_step { rawLoadInfo = frame; turns = 0 };
#ifdef KEEPS_PACE
          turns == 2;  /* the first may have begun before the request */
#endif
          assert(loaded == frame);
          frame++
        :: rawLoadInfo = 0; break
        od;
        saved++;
        LastWord(needSave, idle)
      :: saved++; LastWord(needSave, idle)
      fi
    fi
  od;
  leftOpen = inShot;
  off = true
}

active proctype Main() {
  off;
  needQuit = 0
}

/* A shot that was told as saved is saved, and none is told twice. */
ltl toldIsSaved { [] (good <= saved) }
/* Snap has one shot at a time, and control begins none before the last one has ended. */
ltl oneAtATime { [] (begun <= ended + 1 && begun <= taken) }
/* What was begun ends, and the board gets to rest when it is switched off. */
ltl endsAndRests { [] (inShot -> <> !inShot) && [] (needQuit == 1 -> <> cut) }
/* No shot is left in the middle when the power goes. */
ltl closedAtTheEnd { [] (cut -> !inShot && !leftOpen) }
/* No command is stored over another. */
ltl noneOverwritten { [] (overwritten == 0) }
/* Whoever waits for its command to be taken comes back; or does so unless the camera switches off meanwhile. */
#ifdef PHONE
ltl phoneComesBack { [] (Phone@waits -> <> !Phone@waits) }
ltl phoneComesBackOrOff { [] (Phone@waits -> <> (!Phone@waits || needQuit == 1 || cut)) }
#endif

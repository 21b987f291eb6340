/// Time analysis: a chain of timed, named sections that can be fetched and printed.
///
/// `scope` 0 is the wall-clock analysis, any other value the processor-time analysis; each has its own switch
/// and its own chain of `AceMemPoint`s (position: microseconds). While a scope is off, every call returns
/// after one test.
///
/// In thread mode each thread records a chain of its own, between the notes "Thread Start" and "Thread End".
/// When the last thread has left thread mode, the chains are joined behind the points recorded before, in
/// the order in which the threads recorded first, and followed by the note "Join Threads".
///
/// Errors: a point for which there is no memory is left out; the analysis never stops the work it measures.
/// Thread safety: all functions may be called from any thread, except that fetching and resetting, and use
/// of the points fetched, belong to one thread. In thread mode a thread takes only its own, uncontended lock.
#pragma once

#include "ace/ace_types.h"

class AceMemPoint;

/// The switch of that scope; 0 is off.
SORV_API int use_time_analysis(int scope);
/// Adds a "STOP" note, sets the switch, adds a "START" note. Returns 0.
SORV_API int time_analysis_switch(int value, Token scope);
/// Opens a section. `copy_name` asks for a copy of the name, else it must be static. Returns 0.
SORV_API int time_analysis_open(const char* name, Token copy_name, int scope, int level);
/// Closes the section opened last. Returns 0.
SORV_API int time_analysis_close(int scope, int level);
/// Adds a point at the present time: type 1 opens a section, -1 closes it, 0 marks, 2 notes. `level` and
/// `value` are kept as the point's auxiliary values. Returns 0.
SORV_API int time_analysis_message(const char* text, Token copy_text, int scope, short type, int level,
                                   int value);
/// The same for a point that has a time of its own.
SORV_API int time_analysis_point(Huge pos, const char* text, Token copy_text, int scope, short type,
                                 int level, int value);
/// Formats a note of at most 99 characters and adds it. Returns 0.
SORV_API int time_analysis_print(int scope, short level, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
/// The same, for the notes of index builds.
SORV_API int build_analysis_print(int scope, short level, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
/// The calling thread enters (1) or leaves (0) multi-thread recording; nested, and by any number of threads
/// at once. Returns 0; or -1 when the mode cannot be switched: a thread beyond the largest number of chains
/// (AceMemPoint::MAX_NEXT), which then records into the joined chain and must leave like any other, or
/// leaving without having entered. The analysis notes "Cannot switch time analysis mode: Too many threads."
/// for the former.
SORV_API int time_analysis_thread_mode(int on);
/// The recorded points of the scope in forward order, each leading to the next by its first successor, with
/// the chains of threads that are still recording at the end; null when there are none. They are a copy that
/// the analysis owns and keeps until the next fetch or reset of the scope.
SORV_API AceMemPoint* time_analysis_fetch(int scope);
/// Deletes the scope's points. Returns 0.
SORV_API int time_analysis_reset(int scope);
/// Stores the restriction switch; returns it.
SORV_API int time_analysis_set_restricted(int value);

/// A section of the wall-clock analysis that lasts as long as the object. The name must be static.
class AceTimeSection {
 public:
  explicit AceTimeSection(const char* name) { time_analysis_open(name, 0, 0, 0); }
  AceTimeSection(const AceTimeSection&) = delete;
  AceTimeSection& operator=(const AceTimeSection&) = delete;
  ~AceTimeSection() { time_analysis_close(0, 0); }
};

/// Multi-thread recording for as long as the object lives.
class AceTimeThreads {
 public:
  AceTimeThreads() { time_analysis_thread_mode(1); }
  AceTimeThreads(const AceTimeThreads&) = delete;
  AceTimeThreads& operator=(const AceTimeThreads&) = delete;
  ~AceTimeThreads() { time_analysis_thread_mode(0); }
};

/// Memory points: a graph of labelled positions, in bytes or in time.
///
/// The measuring mode of `AceFile` and the time analysis record where bytes or time went as a chain of
/// points, each linked to the one before it; a reader of the breakdown turns the chain and walks it forward.
/// A section opens with a point of type 1 and closes with one of type -1; type 0 marks, type 2 notes.
///
/// Ownership: points are free-standing objects; `remove` deletes a whole graph.
/// Thread safety: points may be linked to one successor from several threads (`numIn` is atomic); walking
/// and removing belong to one thread.
#pragma once

#include "ace/ace_check_type.h"
#include "ace/ace_types.h"

class SORV_API AceMemPoint : public AceCheckType<AceMemPoint> {
 public:
  static constexpr int MAX_NEXT = 2048;

  /// `is_volatile`: the comment is copied and freed with the point. `next` may be null.
  AceMemPoint(Huge pos, Huge aux1, Huge aux2, const char* comment, short type, Token is_volatile,
              AceMemPoint* next);
  /// With up to `count` successors; stops at the first null.
  AceMemPoint(Huge pos, Huge aux1, Huge aux2, const char* comment, short type, Token is_volatile,
              AceMemPoint* const* next, int count);
  AceMemPoint(const AceMemPoint&) = delete;
  AceMemPoint& operator=(const AceMemPoint&) = delete;
  ~AceMemPoint();

  int get_num_in() const { return numIn; }
  int get_num_out() const { return numOut; }
  /// Successor `index`, or null.
  AceMemPoint* get_next(int index) const;
  Huge get_pos() const { return memPos; }
  Huge get_aux1() const { return auxVal1; }
  Huge get_aux2() const { return auxVal2; }
  short get_type() const { return nodeType; }
  const char* get_comment() const { return commentString; }
  /// Values, type, comment and traversal marker, without successors. The caller owns the copy.
  AceMemPoint* copy() const;

  // Operations on graphs; all accept null.
  /// Marks every point reachable from `point` that does not carry `marker` yet.
  static void reset_marker(AceMemPoint* point, int marker);
  /// Deletes every point reachable from `point`, each once.
  static void remove(AceMemPoint* point);
  /// Reverses, in place, the chain through each point's first successor; returns the new head.
  static AceMemPoint* turn(AceMemPoint* point);
  /// Reversed copy of the path along successor `index` (0 where a point has no such successor or the index
  /// is out of range); returns the copy's last point, which leads back to the first.
  static AceMemPoint* turn_path(const AceMemPoint* point, int index);
  /// Multiplies the positions of all reachable points that do not carry `marker`, and marks them. Positions
  /// stop at the limits of their range.
  static void scale(AceMemPoint* point, Huge factor, int marker);

 private:
  void set_first_next(AceMemPoint* next);
  template <class Visit>
  static void for_each_unmarked(AceMemPoint* point, int marker, Visit visit);

  AceMemPoint** nextPoints = nullptr;  // numOut successors, from ace_alloc
  AceMemPoint* nextGone = nullptr;     // while `remove` works: the point to be deleted behind this one
  int numIn = 0;
  int numOut = 0;
  int travMarker = 0;
  Huge memPos;
  Huge auxVal1;
  Huge auxVal2;
  const char* commentString;
  short nodeType;
  Token memVolatile;
};

#include "ace/ace_mem_point.h"

#include <limits>
#include <utility>
#include <vector>

#include "ace/ace_str.h"

namespace {

AceMemPoint** new_links(int count) {
  return static_cast<AceMemPoint**>(ace_alloc(static_cast<std::size_t>(count) * sizeof(void*)));
}

}  // namespace

AceMemPoint::AceMemPoint(Huge pos, Huge aux1, Huge aux2, const char* comment, short type, Token is_volatile,
                         AceMemPoint* next)
    : AceMemPoint(pos, aux1, aux2, comment, type, is_volatile, &next, 1) {}

AceMemPoint::AceMemPoint(Huge pos, Huge aux1, Huge aux2, const char* comment, short type, Token is_volatile,
                         AceMemPoint* const* next, int count)
    : memPos(pos),
      auxVal1(aux1),
      auxVal2(aux2),
      commentString(is_volatile != 0 ? strnew(comment) : comment),
      nodeType(type),
      memVolatile(is_volatile) {
  int numNext = 0;
  while (numNext < count && numNext < MAX_NEXT && next[numNext] != nullptr) ++numNext;
  if (numNext == 0) return;
  nextPoints = new_links(numNext);
  for (; numOut < numNext; ++numOut) {
    nextPoints[numOut] = next[numOut];
    __atomic_fetch_add(&next[numOut]->numIn, 1, __ATOMIC_RELAXED);
  }
}

AceMemPoint::~AceMemPoint() {
  ace_delete(nextPoints);
  if (memVolatile != 0) ace_delete(const_cast<char*>(commentString));
}

AceMemPoint* AceMemPoint::get_next(int index) const {
  return index >= 0 && index < numOut ? nextPoints[index] : nullptr;
}

AceMemPoint* AceMemPoint::copy() const {
  auto* made = new AceMemPoint(memPos, auxVal1, auxVal2, commentString, nodeType, memVolatile, nullptr);
  made->travMarker = travMarker;
  return made;
}

/// Depth first, with a stack of its own: chains are as long as a build takes steps.
template <class Visit>
void AceMemPoint::for_each_unmarked(AceMemPoint* point, int marker, Visit visit) {
  std::vector<AceMemPoint*> waiting;
  const auto enter = [&](AceMemPoint* reached) {
    if (reached == nullptr || reached->travMarker == marker) return;
    reached->travMarker = marker;
    waiting.push_back(reached);
  };
  enter(point);
  while (!waiting.empty()) {
    AceMemPoint* reached = waiting.back();
    waiting.pop_back();
    visit(reached);
    for (int i = reached->numOut; i-- > 0;) enter(reached->nextPoints[i]);
  }
}

void AceMemPoint::reset_marker(AceMemPoint* point, int marker) {
  for_each_unmarked(point, marker, [](AceMemPoint*) {});
}

void AceMemPoint::scale(AceMemPoint* point, Huge factor, int marker) {
  using Limits = std::numeric_limits<Huge>;
  for_each_unmarked(point, marker, [factor](AceMemPoint* reached) {
    const Huge limit = (reached->memPos < 0) == (factor < 0) ? Limits::max() : Limits::min();
    if (__builtin_mul_overflow(reached->memPos, factor, &reached->memPos)) reached->memPos = limit;
  });
}

/// A point goes when the last point that leads to it has gone, so each goes once. Those to go are linked
/// among themselves, for destructors remove graphs and must not need memory for it.
void AceMemPoint::remove(AceMemPoint* point) {
  while (point != nullptr) {
    AceMemPoint* waiting = point->nextGone;
    for (int i = 0; i < point->numOut; ++i) {
      AceMemPoint* next = point->nextPoints[i];
      if (--next->numIn == 0) next->nextGone = std::exchange(waiting, next);
    }
    delete std::exchange(point, waiting);
  }
}

/// Replaces the first successor; null takes it out.
void AceMemPoint::set_first_next(AceMemPoint* next) {
  if (next == nullptr) {
    for (int i = 1; i < numOut; ++i) nextPoints[i - 1] = nextPoints[i];
    if (numOut > 0) --numOut;
    return;
  }
  if (numOut == 0) {
    if (nextPoints == nullptr) nextPoints = new_links(1);
    numOut = 1;
  }
  nextPoints[0] = next;
}

AceMemPoint* AceMemPoint::turn(AceMemPoint* point) {
  AceMemPoint* turned = nullptr;
  while (point != nullptr) {
    AceMemPoint* next = point->get_next(0);
    if (next != nullptr) --next->numIn;
    point->set_first_next(turned);
    if (turned != nullptr) ++turned->numIn;
    turned = point;
    point = next;
  }
  return turned;
}

AceMemPoint* AceMemPoint::turn_path(const AceMemPoint* point, int index) {
  AceMemPoint* turned = nullptr;
  while (point != nullptr) {
    AceMemPoint* made = point->copy();
    if (turned != nullptr) {
      made->set_first_next(turned);
      ++turned->numIn;
    }
    turned = made;
    const bool hasIndex = index < MAX_NEXT && point->get_next(index) != nullptr;
    point = point->get_next(hasIndex ? index : 0);
  }
  return turned;
}

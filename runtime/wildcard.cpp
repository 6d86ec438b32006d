#include "runtime/wildcard.h"

#include <algorithm>
#include <cstddef>

#include "runtime/string_operations.h"

namespace vexa::velmora {
namespace {

using View = std::u16string_view;

bool isSame(char16_t a, char16_t b) { return upper(a) == upper(b); }

// Whether the text begins with what the piece covers, which has no star.
bool begins(View text, View piece) {
  return piece.size() <= text.size() &&
         std::equal(piece.begin(), piece.end(), text.begin(),
                    [](char16_t wanted, char16_t c) { return wanted == '?' || isSame(wanted, c); });
}

struct Suffix {
  size_t start;
  size_t period;
};

// The suffix that comes last in the order of the units, or in the reverse order, and its period.
Suffix maximalSuffix(View piece, bool isReverse) {
  Suffix best{0, 1};
  size_t candidate = 1;
  size_t same = 0;  // units that candidate and best have in common
  while (candidate + same < piece.size()) {
    const char16_t a = upper(piece[best.start + same]);
    const char16_t b = upper(piece[candidate + same]);
    if (a == b) {
      ++same;
      if (same == best.period) {
        candidate += same;
        same = 0;
      }
    } else if ((a > b) != isReverse) {
      candidate += same + 1;
      same = 0;
      best.period = candidate - best.start;
    } else {
      best = {candidate, 1};
      ++candidate;
      same = 0;
    }
  }
  return best;
}

// The first place of a piece without wildcards: two-way search (Crochemore and Perrin, 1991).
// Behind a cut that is chosen well the piece is compared forwards, and a mismatch moves it past all
// that was compared; then before the cut, and a mismatch moves it by its period.
size_t find(View text, View piece) {
  const Suffix forward = maximalSuffix(piece, false);
  const Suffix backward = maximalSuffix(piece, true);
  const size_t cut = std::max(forward.start, backward.start);
  size_t period = forward.start > backward.start ? forward.period : backward.period;
  const bool isPeriodic =
      std::equal(piece.data(), piece.data() + cut, piece.data() + period, isSame);
  if (!isPeriodic) {
    period = std::max(cut, piece.size() - cut) + 1;
  }
  size_t known = 0;  // units at the front that are there already
  for (size_t at = 0; at + piece.size() <= text.size();) {
    size_t i = std::max(cut, known);
    while (i < piece.size() && isSame(piece[i], text[at + i])) {
      ++i;
    }
    if (i < piece.size()) {
      at += i - cut + 1;
      known = 0;
      continue;
    }
    i = cut;
    while (i > known && isSame(piece[i - 1], text[at + i - 1])) {
      --i;
    }
    if (i <= known) {
      return at;
    }
    at += period;
    known = isPeriodic ? piece.size() - period : 0;
  }
  return View::npos;
}

// The first place of a piece with a '?'.
size_t findLoosely(View text, View piece) {
  for (size_t at = 0; at + piece.size() <= text.size(); ++at) {
    if (begins(text.substr(at), piece)) {
      return at;
    }
  }
  return View::npos;
}

}  // namespace

// Of the pieces between stars, the first one stands at the front of the text and the last one at
// its end. Each of the others is taken where it is found first, which leaves the most to those
// behind it.
bool wildcardMatches(View text, View pattern) {
  const size_t firstStar = pattern.find(u'*');
  if (firstStar == View::npos) {
    return text.size() == pattern.size() && begins(text, pattern);
  }
  const View front = pattern.substr(0, firstStar);
  const View end = pattern.substr(pattern.rfind(u'*') + 1);
  if (text.size() < front.size() + end.size() || !begins(text, front) ||
      !begins(text.substr(text.size() - end.size()), end)) {
    return false;
  }
  text = text.substr(front.size(), text.size() - front.size() - end.size());
  pattern.remove_suffix(end.size());
  pattern.remove_prefix(firstStar);
  // What is left of the pattern begins and ends with a star.
  while (pattern.size() > 1) {
    pattern.remove_prefix(1);
    const View piece = pattern.substr(0, pattern.find(u'*'));
    pattern.remove_prefix(piece.size());
    const bool isLoose = piece.find(u'?') != View::npos;
    const size_t at = isLoose ? findLoosely(text, piece) : find(text, piece);
    if (at == View::npos) {
      return false;
    }
    text.remove_prefix(at + piece.size());
  }
  return true;
}

}  // namespace vexa::velmora

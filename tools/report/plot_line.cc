#include "tools/report/plot_line.h"

#include <algorithm>
#include <utility>

namespace vmr::tool {
namespace {

bool LessValue(const LineStep& a, const LineStep& b) { return a.value < b.value; }

// One span's part of a line.
class SpanParts {
 public:
  SpanParts(const AxisSpan& span, LineParts& parts) : span_(span), parts_(parts), at_(span.from) {}

  void Take(const LinePoint& point) {
    if (point.x > at_) Close(point.x);
    at_ = point.x;
    is_known_ = point.IsKnown();
    is_word_ = point.IsWord();
    value_ = point.value;
  }
  void Finish() { Close(span_.to); }

 private:
  // What is in force goes on up to x.
  void Close(AxisX x) {
    if (is_word_) {
      std::vector<WordSpan>& words = parts_.words;
      if (!words.empty() && words.back().span.to == at_ && words.back().number == value_)
        words.back().span.to = x;
      else if (x > at_)
        words.push_back({{at_, x}, value_});
      in_piece_ = in_unknown_ = false;
      return;
    }
    if (!is_known_) {
      if (!parts_.unknown.empty() && in_unknown_)
        parts_.unknown.back().to = x;
      else
        parts_.unknown.push_back({at_, x});
      in_unknown_ = true;
      in_piece_ = false;
      return;
    }
    if (!in_piece_) parts_.pieces.emplace_back();
    LinePiece& piece = parts_.pieces.back();
    if (piece.steps.empty() || piece.steps.back().value != value_)
      piece.steps.push_back({at_, value_});
    piece.to = x;
    in_piece_ = true;
    in_unknown_ = false;
  }

  const AxisSpan& span_;
  LineParts& parts_;
  AxisX at_;
  std::int64_t value_ = 0;
  bool is_known_ = false;
  bool is_word_ = false;
  bool in_piece_ = false;
  bool in_unknown_ = false;
};

// Puts those of [first, last) that stand for their column behind `kept`, in their order.
void KeepOfColumn(const LineStep* first, const LineStep* last, std::vector<LineStep>& kept) {
  const auto [least, greatest] = std::minmax_element(first, last, LessValue);
  std::vector<const LineStep*> those = {least, greatest, last - 1};
  std::sort(those.begin(), those.end());
  those.erase(std::unique(those.begin(), those.end()), those.end());
  for (const LineStep* const step : those) kept.push_back(*step);
}

std::int64_t LeastOf(const LinePiece& piece) {
  return std::min_element(piece.steps.begin(), piece.steps.end(), LessValue)->value;
}
std::int64_t GreatestOf(const LinePiece& piece) {
  return std::max_element(piece.steps.begin(), piece.steps.end(), LessValue)->value;
}

bool IsWithinColumn(const LinePiece& piece, const Columns& columns) {
  return columns.Of(piece.From()) == columns.Of(piece.to);
}

// The same for pieces that lie within a column.
void KeepOfColumn(LinePiece* first, LinePiece* last, std::vector<LinePiece>& kept) {
  LinePiece* const least = std::min_element(
      first, last, [](const LinePiece& a, const LinePiece& b) { return LeastOf(a) < LeastOf(b); });
  LinePiece* const greatest = std::max_element(
      first, last,
      [](const LinePiece& a, const LinePiece& b) { return GreatestOf(a) < GreatestOf(b); });
  const auto [front, back] = std::minmax(least, greatest);
  kept.push_back(std::move(*front));
  if (back != front) kept.push_back(std::move(*back));
}

// What gaps cover; one whose other end nobody knows takes the whole hole that it begins or ends.
std::vector<AxisSpan> LostSpans(const CaseRecording& recording,
                                const std::vector<AxisSpan>& recorded) {
  std::vector<AxisSpan> spans;
  for (const CaseGap& gap : recording.gaps) {
    if (gap.reason == records::GapReason::kOverwritten) continue;
    if (gap.from && gap.to) spans.push_back({*gap.from + 1, std::max(*gap.from + 1, *gap.to)});
    for (std::size_t i = 1; i < recorded.size() && gap.from.has_value() != gap.to.has_value(); ++i)
      if (recorded[i - 1].to < recorded[i].from &&
          (gap.from ? *gap.from + 1 == recorded[i - 1].to : *gap.to == recorded[i].from))
        spans.push_back({recorded[i - 1].to, recorded[i].from});
  }
  std::sort(spans.begin(), spans.end(),
            [](const AxisSpan& a, const AxisSpan& b) { return a.from < b.from; });
  std::vector<AxisSpan> apart;
  for (const AxisSpan& span : spans) {
    if (apart.empty() || span.from > apart.back().to)
      apart.push_back(span);
    else
      apart.back().to = std::max(apart.back().to, span.to);
  }
  return apart;
}

// Of a hole that is not lost and ends at x.
HoleKind KindInFrontOf(const CaseRecording& recording, AxisX x) {
  for (const CaseClockStep& step : recording.steps)
    if (step.x == x && step.told_us < step.expected_us) return HoleKind::kNoTime;
  return HoleKind::kNotRecorded;
}

void AppendWithout(const std::vector<AxisSpan>& lost, AxisSpan hole, std::vector<AxisSpan>& holes) {
  for (const AxisSpan& gap : lost) {
    if (gap.to <= hole.from || gap.from >= hole.to) continue;
    if (gap.from > hole.from) holes.push_back({hole.from, gap.from});
    hole.from = std::max(hole.from, gap.to);
  }
  if (hole.from < hole.to) holes.push_back(hole);
}

}  // namespace

std::vector<AxisSpan> RecordedSpans(const CaseRecording& recording) {
  std::vector<AxisSpan> spans;
  int run = 0;
  for (const CaseStretch& stretch : recording.stretches) {
    const AxisX behind = stretch.last + 1;
    if (!spans.empty() && run == stretch.run && stretch.first <= spans.back().to)
      spans.back().to = std::max(spans.back().to, behind);
    else
      spans.push_back({stretch.first, behind});
    run = stretch.run;
  }
  return spans;
}

std::vector<AxisSpan> HolesOf(const CaseRecording& recording, HoleKind kind) {
  const std::vector<AxisSpan> recorded = RecordedSpans(recording);
  std::vector<AxisSpan> lost = LostSpans(recording, recorded);
  if (kind == HoleKind::kLost) return lost;
  std::vector<AxisSpan> holes;
  for (std::size_t i = 1; i < recorded.size(); ++i)
    if (recorded[i - 1].to < recorded[i].from && KindInFrontOf(recording, recorded[i].from) == kind)
      AppendWithout(lost, {recorded[i - 1].to, recorded[i].from}, holes);
  return holes;
}

LineParts PartsOf(const Line& line, const std::vector<AxisSpan>& recorded) {
  LineParts parts;
  auto point = line.begin();
  for (const AxisSpan& span : recorded) {
    SpanParts part(span, parts);
    for (; point != line.end() && point->x < span.to; ++point)
      if (point->Holds() && point->x >= span.from) part.Take(*point);
    part.Finish();
  }
  for (const LinePoint& wrong : line)
    if (!wrong.Holds() && wrong.IsKnown()) parts.wrong.push_back({wrong.x, wrong.value});
  return parts;
}

void Thin(std::vector<LineStep>& steps, const Columns& columns) {
  std::vector<LineStep> kept;
  for (std::size_t first = 0, behind = 0; first < steps.size(); first = behind) {
    const std::int64_t column = columns.Of(steps[first].x);
    while (behind < steps.size() && columns.Of(steps[behind].x) == column) ++behind;
    KeepOfColumn(steps.data() + first, steps.data() + behind, kept);
  }
  steps = std::move(kept);
}

void Thin(std::vector<LinePiece>& pieces, const Columns& columns) {
  std::vector<LinePiece> kept;
  for (std::size_t first = 0, behind = 0; first < pieces.size(); first = behind) {
    const std::int64_t column = columns.Of(pieces[first].From());
    while (behind < pieces.size() && columns.Of(pieces[behind].From()) == column &&
           IsWithinColumn(pieces[behind], columns))
      ++behind;
    if (behind == first)
      kept.push_back(std::move(pieces[behind++]));
    else
      KeepOfColumn(pieces.data() + first, pieces.data() + behind, kept);
  }
  for (LinePiece& piece : kept) {
    // Where a piece begins is no matter of its values.
    const LineStep first = piece.steps.front();
    Thin(piece.steps, columns);
    if (piece.From() != first.x) piece.steps.insert(piece.steps.begin(), first);
  }
  pieces = std::move(kept);
}

void Thin(std::vector<AxisSpan>& spans, const Columns& columns) {
  std::vector<AxisSpan> kept;
  for (const AxisSpan& span : spans) {
    if (!kept.empty() && columns.Of(span.from) <= columns.Of(kept.back().to))
      kept.back().to = span.to;
    else
      kept.push_back(span);
  }
  spans = std::move(kept);
}

void Thin(std::vector<WordSpan>& words, const Columns& columns) {
  std::vector<WordSpan> kept;
  for (const WordSpan& word : words) {
    const bool touches =
        !kept.empty() && columns.Of(word.span.from) <= columns.Of(kept.back().span.to);
    if (touches && kept.back().number == word.number)
      kept.back().span.to = word.span.to;
    else if (!touches || columns.Of(word.span.to) > columns.Of(kept.back().span.to))
      kept.push_back(word);
  }
  words = std::move(kept);
}

}  // namespace vmr::tool

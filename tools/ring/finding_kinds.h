// The kinds of findings about a ring: one row each, and nowhere a second list.
#ifndef VMR_TOOLS_RING_FINDING_KINDS_H_
#define VMR_TOOLS_RING_FINDING_KINDS_H_

namespace vmr::tool {

enum class Severity { kNormal, kDamaged, kLost };

// How a finding is worded, FILE being left out where it is about both files.
enum class FindingForm {
  kCopies,  // "FILE cluster 3: PHRASE; ticks ...: items; the other file has a good copy"
  kFile,    // "FILE PHRASE; cluster 3; ticks ..."
  kPlace,   // "FILE PHRASE cluster 3"
  kFiles,   // "FILE and FILE PHRASE"
};

// A kind is its row: it is told from others by where it lies, not by what is in it.
struct FindingKind {
  const char* name;  // stable, for programs
  Severity severity;
  FindingForm form;
  const char* phrase;
};

namespace finding_kind {

inline constexpr FindingKind kMissingFile = {"missing_file", Severity::kDamaged, FindingForm::kFile,
                                             "is missing"};
inline constexpr FindingKind kNotAFile = {"not_a_file", Severity::kDamaged, FindingForm::kFile,
                                          "is no regular file, and no recorder opens it"};
inline constexpr FindingKind kShortFile = {"short_file", Severity::kDamaged, FindingForm::kFile,
                                           "is too short, and no recorder opens it"};
inline constexpr FindingKind kLongFile = {"long_file", Severity::kDamaged, FindingForm::kFile,
                                          "is too long, and no recorder opens it"};

inline constexpr FindingKind kNotOpened = {"not_opened", Severity::kDamaged, FindingForm::kFile,
                                           "cannot be opened"};

inline constexpr FindingKind kUnreadable = {"unreadable", Severity::kDamaged, FindingForm::kCopies,
                                            "cannot be read"};
inline constexpr FindingKind kImpossibleSize = {"impossible_size", Severity::kDamaged,
                                                FindingForm::kCopies, "impossible size"};
inline constexpr FindingKind kWrongCrc = {"wrong_crc", Severity::kDamaged, FindingForm::kCopies,
                                          "wrong CRC"};
inline constexpr FindingKind kWrongPackets = {"wrong_packets", Severity::kDamaged,
                                              FindingForm::kCopies, "unsound packets"};
inline constexpr FindingKind kOutdated = {"outdated", Severity::kDamaged, FindingForm::kCopies,
                                          "an older state"};
inline constexpr FindingKind kMisplaced = {"misplaced", Severity::kDamaged, FindingForm::kCopies,
                                           "packets that belong elsewhere in the ring"};
inline constexpr FindingKind kBehind = {"behind", Severity::kNormal, FindingForm::kCopies,
                                        "lacks the latest packets, as it may between two turns"};
inline constexpr FindingKind kLost = {"lost", Severity::kLost, FindingForm::kCopies,
                                      "no file has a good copy"};
inline constexpr FindingKind kHeldNothing = {"held_nothing", Severity::kDamaged,
                                             FindingForm::kCopies,
                                             "no good copy, but nothing was ever recorded there"};
inline constexpr FindingKind kConflict = {
    "conflict", Severity::kLost, FindingForm::kCopies,
    "the files hold different packets, and nothing tells which are right"};
inline constexpr FindingKind kUnsoundPackets = {
    "unsound_packets", Severity::kLost, FindingForm::kCopies, "unsound packets in every good copy"};
inline constexpr FindingKind kUndecodableItems = {
    "undecodable_items", Severity::kDamaged, FindingForm::kCopies, "items that no reader decodes"};
inline constexpr FindingKind kWrongFirstTick = {"wrong_first_tick", Severity::kDamaged,
                                                FindingForm::kCopies,
                                                "its first tick is not its first packet's"};
inline constexpr FindingKind kTicksGoBack = {"ticks_go_back", Severity::kDamaged,
                                             FindingForm::kCopies, "ticks go back"};

inline constexpr FindingKind kSecondRun = {
    "second_run", Severity::kDamaged, FindingForm::kPlace,
    "the recording is not in one piece; a part of it ends in"};
inline constexpr FindingKind kNotSearchable = {
    "not_searchable", Severity::kDamaged, FindingForm::kPlace,
    "cannot be searched for the recording's end, because of"};
inline constexpr FindingKind kWrongNewest = {"wrong_newest", Severity::kDamaged,
                                             FindingForm::kPlace,
                                             "a recorder's search ends at the wrong place, in"};
inline constexpr FindingKind kBeginsAnew = {
    "begins_anew", Severity::kDamaged, FindingForm::kPlace,
    "a recorder that starts now sets the recording aside and begins anew, because of"};
inline constexpr FindingKind kCannotStart = {
    "cannot_start", Severity::kDamaged, FindingForm::kPlace, "no recorder can start, because of"};

inline constexpr FindingKind kTwoRecordings = {
    "two_recordings", Severity::kLost, FindingForm::kFiles,
    "are of two recordings; take the one away that does not belong here, and `vmr scrub` builds "
    "it anew"};

}  // namespace finding_kind

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_FINDING_KINDS_H_

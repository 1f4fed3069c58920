#pragma once
// Conversion of values between fields of different data types, in three layers: element
// conversions assign<A>From<B> between the 21 element types, list conversions
// handle<MFA>From<MFB> that walk containers under a mode, and Field::assign, which dispatches
// on the two data types and picks the shape by the two cardinalities.
//
// Element conversions. 179 of the 441 pairs convert; the others log "B to A conversion NI!\n"
// at warning level, leave the target alone and answer false. What a rule does not write keeps
// the target's earlier value. A conversion that reads a Rotation brings its axis form up to date
// in place, so it writes to a source rotation too.
//
// Our choices where a mode would leave the container, and two departures:
// - Multi from single, mode 2 (OverwriteEnd) writes into the last element, as that mode does
//   for lists. Modes 3 and 4 (AtIndex, ReplaceLast) with an index outside the target answer
//   false and change nothing; single from multi does the same for modes 3 and 7.
// - Multi from multi, mode 3 (AtIndex) writes the source from index value on, where the target
//   grows to hold it, not from the front. A negative value, or a size beyond what a field can
//   hold, answers false and changes nothing.
// - An image without data reads as width, height, depth and bytes per pixel 0.
// - Departure: where the element pair does not convert, the multi-valued target shapes log
//   once and neither resize nor insert, so the target keeps its value as a failed conversion
//   promises, and a long source does not flood the log with one line per element.
// - Departure: Int32 from a float or double that is NaN gives 0, and one beyond the range of
//   int gives the nearest end of the range; a plain cast is undefined there.

#include <string>

#include "kalvex/fields/ConversionTable.h"
#include "kalvex/fields/FieldClasses.h"
#include "kalvex/object/BaseObject.h"

namespace Kalvex {

// How a conversion between a list and a value or between two lists places what it writes, and
// the index or offset some modes use. A null ConvertParam* means Replace with value 0.
class ConvertParam : public BaseObject {
  public:
    // A plain integer underneath: modes from outside are carried, and the ones that are not
    // listed make a conversion answer false.
    enum Mode : int {
        // List into list / list into value / value into list:
        // the target takes the source's size / the first element / into the first element.
        Replace = 0,
        // Overwrite from the front, grow but never shrink / the first / into the first.
        Overwrite = 1,
        // Overwrite so that the source ends at the target's end / nothing / into the last.
        OverwriteEnd = 2,
        // Write from index value on, growing as needed / the element at value / into it.
        AtIndex = 3,
        // As Replace / the last element / into the element at value.
        ReplaceLast = 4,
        // Insert each element behind the one inserted before, the first behind the target's
        // first / the first / insert at the front.
        Insert = 5,
        // Append each element / nothing / append.
        Append = 6,
        // As Insert, the first behind index value / the element at value / insert at value.
        InsertAtIndex = 7
    };

    ConvertParam(Mode mode, long value) : _mode(mode), _value(value) {}
    ConvertParam(const ConvertParam&) = default;
    ConvertParam& operator=(const ConvertParam&) = default;
    ~ConvertParam() override = default;

    Mode mode() const { return _mode; }
    long value() const { return _value; }
    void setMode(Mode mode) { _mode = mode; }
    void setValue(long value) { _value = value; }

  private:
    Mode _mode;
    long _value;
};

#define KALVEX_DECLARE_CONVERSION(B, TB, SFB, MFB, A, TA, SFA, MFA)                         \
    bool assign##A##From##B(TA& target, const TB& source);                                  \
    bool handle##MFA##From##MFB(MFA* target, const MFB* source,                             \
                                MFA::Container::iterator& position, const long& sourceSize, \
                                long& targetSize, long value, const ConvertParam::Mode& mode);

// The element conversions assign<A>From<B>, answering whether anything was converted, and the
// list conversions handle<MFA>From<MFB>. A list conversion takes position anew from the front of
// the target, reads at most sourceSize elements, leaves position behind the last element it
// overwrote (at the front after insertions) and stores the target's new size in targetSize. Its
// answer is that of the last element conversion; false for an empty source or an unknown mode.
KALVEX_CONVERSION_PAIRS(KALVEX_DECLARE_CONVERSION)

#undef KALVEX_DECLARE_CONVERSION

}  // namespace Kalvex

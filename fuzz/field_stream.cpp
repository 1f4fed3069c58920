// The streaming mode of addValueByStr as a reader of a long text uses it: the text arrives in
// pieces (their lengths drawn from the knob), and the remainder the field hands back is put in
// front of the next piece. A remainder must lie inside the piece it came from. Where the text is
// plain decimal numbers, every way of cutting it must give what one piece gives; an exponent or
// a hexadecimal number cut after its mantissa is read as two tokens, as the rule says.

#include <set>
#include <string>

#include "FieldFuzz.h"

using namespace KalvexFuzz;
using namespace Kalvex;

namespace {

const std::set<NodePartDataType> kStreaming = {
    MFFloatType,    MFDoubleType,   MFTimeType,     MFInt32Type,    MFVec2dType,   MFVec2fType,
    MFVec3dType,    MFVec3fType,    MFVec4dType,    MFVec4fType,    MFColorType,   MFColorRGBAType,
    MFRotationType, MFMatrix3dType, MFMatrix3fType, MFMatrix4dType, MFMatrix4fType};

bool plainDecimal(const Text& text) {
    for (const char* p = text.begin(); p != text.end(); ++p)
        if (!std::strchr("0123456789.-+ ,;\t\n\r", *p)) return false;
    return true;
}

// Feeds the pieces, carrying the remainder over; the last piece is a line end, which ends the
// last number.
class Stream {
  public:
    explicit Stream(NodePartDataType type) : _field(makeField(type)) {}

    void feed(const std::string& piece) {
        _pending += piece;
        const Text chunk = exactText(_pending.data(), _pending.size());
        const char* rest = _field->addValueByStr(chunk.begin(), Field::CardinalityMulti);
        if (rest && (rest < chunk.begin() || rest > chunk.end()))
            fail("remainder outside the piece", *_field, chunk.begin());
        _pending = rest ? rest : "";
    }
    const Field& field() const { return *_field; }

  private:
    std::unique_ptr<Field> _field;
    std::string _pending;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in;
    if (!split(data, size, in)) return 0;
    const Text whole = exactText(in.data, in.size);

    Stream cut(in.type);
    unsigned state = in.knob | 1u;
    for (std::size_t pos = 0; pos < whole.length;) {
        state = state * 1103515245u + 12345u;
        const std::size_t length =
            std::min<std::size_t>(1 + (state >> 16) % 24, whole.length - pos);
        cut.feed(std::string(whole.begin() + pos, length));
        pos += length;
    }
    cut.feed("\n");
    if (bulky(cut.field())) return 0;
    const std::string cutText = textOf(cut.field());

    if (kStreaming.count(in.type) && plainDecimal(whole)) {
        Stream one(in.type);
        one.feed(std::string(whole.begin(), whole.length));
        one.feed("\n");
        if (textOf(one.field()) != cutText)
            fail("pieces read other than the whole text", cut.field(),
                 std::string(whole.begin()) + "\nwhole:  " + textOf(one.field()) +
                     "\npieces: " + cutText);
    }
    return 0;
}

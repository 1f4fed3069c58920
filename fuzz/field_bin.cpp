// Binary forms of every field class: setValueByBin from any bytes, the whole value written and
// read back, the element and component forms at an index the knob picks, and the raw buffer form
// (the platform image's store form for SFImage). What a class writes it must read back to the
// same bytes, except where the forms differ on purpose: the double vectors write doubles and read
// floats, MFInt32 writes longs and reads ints.

#include <set>
#include <string>
#include <vector>

#include "FieldFuzz.h"

using namespace KalvexFuzz;
using namespace Kalvex;

namespace {

const std::set<NodePartDataType> kAsymmetric = {SFVec2dType, MFVec2dType, SFVec3dType, MFVec3dType,
                                                MFInt32Type};

std::string hex(const std::string& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : bytes.substr(0, 256)) {
        out += digits[c >> 4];
        out += digits[c & 15];
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in;
    if (!split(data, size, in)) return 0;
    const std::string bytes(reinterpret_cast<const char*>(in.data), in.size);

    auto field = makeField(in.type);
    field->setValueByBin(bytes);
    const std::string written = field->getBinValue(-1);
    auto copy = makeField(in.type);
    copy->setValueByBin(written);
    const std::string rewritten = copy->getBinValue(-1);
    if (!kAsymmetric.count(in.type) && rewritten != written)
        fail("binary form does not read back", *field,
             "input:     " + hex(bytes) + "\nwritten:   " + hex(written) +
                 "\nrewritten: " + hex(rewritten));
    textOf(*field);

    // Components and elements at an index from -1 up; an out-of-range one answers empty.
    const int index = int(in.knob % 8) - 1;
    field->getBinValue(index);
    const std::string element = field->get1ValueAsBin(index);
    copy->set1ValueByBin(index, element);
    copy->set1ValueByBin(index, bytes);
    copy->get1ValueAsBin(index);
    textOf(*copy);

    // The raw buffer form takes a buffer it may not keep.
    std::vector<unsigned char> raw(in.data, in.data + in.size);
    field->setValueByBin(raw.data(), unsigned(raw.size()));
    field->getBinValue(-1);
    textOf(*field);
    return 0;
}

// The three wildcard classes hold no value; each operation of theirs is checked against the
// table of what it must do, one row per operation and one column per class.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/nodes/Node.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

using Kalvex::Field;

namespace {

using KalvexTest::NodeHolder;

enum Wildcard { XF, SF, MF };
const char* const kNames[] = {"XFAny", "SFAny", "MFAny"};
const Kalvex::NodePartDataType kNumbers[] = {49, 50, 51};

class WildcardTable : public ::testing::TestWithParam<Wildcard> {
  protected:
    void SetUp() override {
        field.reset(Kalvex::FieldType::create(kNumbers[GetParam()], *owner.node));
        ASSERT_NE(field, nullptr);
        ASSERT_STREQ(field->dataTypeName(), name());
        // A list with elements shows whether an operation touched it.
        if (GetParam() == MF) field->resize(3);
        other.setValue(2.5f);
    }
    const char* name() const { return kNames[GetParam()]; }
    std::string msg(const char* tail) const { return std::string(name()) + tail; }
    unsigned initialSize() const { return GetParam() == MF ? 3u : 1u; }

    NodeHolder owner;
    std::unique_ptr<Field> field;
    Kalvex::SFFloat other{*owner.node};
};

// Text, field and raw buffer forms are silent no-ops; the binary string forms report.
TEST_P(WildcardTable, ValueFormsAreNoOps) {
    KalvexTest::LogCapture log;
    field->setValueByStr("1 2 3");
    field->setValueByStr(nullptr);
    EXPECT_EQ(field->addValueByStr("1 2", Field::CardinalityMulti), nullptr);
    EXPECT_EQ(field->addValueByStr("1", Field::CardinalitySingle), nullptr);
    Kalvex::MFString strings(*owner.node);
    strings.setValueByStr("\"a\" \"b\"");
    EXPECT_TRUE(field->setValueByField(other, nullptr));  // accepts anything, stores nothing
    EXPECT_TRUE(field->setValueByField(strings, nullptr));
    if (GetParam() == SF) {
        EXPECT_EQ(static_cast<Kalvex::SFAny&>(*field).getValue(), nullptr);
    }
    unsigned char buffer[4] = {1, 2, 3, 4};
    field->setValueByBin(buffer, sizeof buffer);
    EXPECT_EQ(field->getBinSize() + field->getBinValue(buffer), 0u);
    EXPECT_EQ(buffer[0], 1);
    std::string out = "previous";
    EXPECT_EQ(field->getStrValue(out), "");
    EXPECT_EQ(out, "");
    EXPECT_EQ(log.text(), "");

    field->setValueByBin(std::string("\x01\x02", 2));
    EXPECT_EQ(field->getBinValue(-1), "");
    // SFAny goes the SField way: the element form is the whole-value form.
    field->set1ValueByBin(0, std::string("\x01", 1));
    EXPECT_EQ(field->get1ValueAsBin(0), "");
    const bool sf = GetParam() == SF;
    EXPECT_EQ(log.count(msg("::setValueByBin() is not imp\n")), sf ? 2 : 1);
    EXPECT_EQ(log.count(msg("::getBinValue() is not imp\n")), sf ? 2 : 1);
    EXPECT_EQ(log.count(msg("::set1ValueByBin() is not imp\n")), sf ? 0 : 1);
    EXPECT_EQ(log.count(msg("::get1ValueByBin() is not imp\n")), sf ? 0 : 1);
    // Only XFAny marks itself changed; without a description that is all it can report.
    EXPECT_EQ(log.count("Field without desc in XField::markChanged()\n"), GetParam() == XF ? 1 : 0);
    EXPECT_EQ(field->size(), initialSize());
}

// Container calls change nothing on the single wildcards; XFAny equals anything, the others
// compare as their template does.
TEST_P(WildcardTable, ContainerCallsAndEquality) {
    const bool mf = GetParam() == MF;
    std::unique_ptr<Field> twin(Kalvex::FieldType::create(kNumbers[GetParam()], *owner.node));
    if (mf) twin->resize(3);
    KalvexTest::LogCapture log;
    EXPECT_TRUE(field->equalValue(*twin));
    EXPECT_EQ(field->equalValue(other), GetParam() == XF);
    EXPECT_EQ(log.count("Type mismatch in XField::opperator==\n"), GetParam() == XF ? 0 : 1);
    twin->resize(2);
    EXPECT_EQ(field->equalValue(*twin), !mf);
    EXPECT_EQ(field->cardinality(), mf ? Field::CardinalityMulti : Field::CardinalitySingle);
    EXPECT_FALSE(field->empty());
    field->resize(5);
    field->reserve(9);
    EXPECT_EQ(field->size(), mf ? 5u : 1u);
    field->clear();
    field->free();
    EXPECT_EQ(field->size(), mf ? 0u : 1u);
    EXPECT_EQ(field->empty(), mf);
}

INSTANTIATE_TEST_SUITE_P(AllThree, WildcardTable, ::testing::Values(XF, SF, MF),
                         [](const auto& info) { return std::string(kNames[info.param]); });

TEST(WildcardRegistry, NumbersNamesAndBaseType) {
    using Kalvex::FieldType;
    for (Wildcard w : {XF, SF, MF}) {
        FieldType* type = FieldType::findType(kNumbers[w]);
        ASSERT_NE(type, nullptr);
        EXPECT_EQ(FieldType::findType(kNames[w]), type);
        EXPECT_EQ(FieldType::isMultiField(kNumbers[w]), w == MF);
    }
    // Both single wildcards claim base type 0; one of them stands there.
    FieldType* single = FieldType::findType(Kalvex::AnyBase, true);
    EXPECT_TRUE(single == FieldType::findType(49) || single == FieldType::findType(50));
    EXPECT_EQ(FieldType::findType(Kalvex::AnyBase, false), FieldType::findType(51));
}

}  // namespace

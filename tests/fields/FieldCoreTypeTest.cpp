// The field type registry: every entry by number, name and base type, create, and refusals.

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/FieldType.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/object/SmartPtr.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

namespace {

using namespace Kalvex;

// The fixed catalogue: numbers and base types are part of the interface. Base type b holds
// SF number 2b-1 and MF number 2b; XFAny, SFAny and MFAny follow as 49 to 51 with base type 0.
const char* const kBases[] = {"Bool",     "Color",    "ColorRGBA", "Double",   "Float",    "Image",
                              "Int32",    "Matrix3d", "Matrix3f",  "Matrix4d", "Matrix4f", "Node",
                              "Rotation", "String",   "Time",      "Vec2d",    "Vec2f",    "Vec3d",
                              "Vec3f",    "Vec4d",    "Vec4f",     "Plane",    "Qubit",    "Sound"};

std::string nameOf(int n) {
    if (n > 48) return std::string(n == 49 ? "XF" : n == 50 ? "SF" : "MF") + "Any";
    return std::string(n % 2 ? "SF" : "MF") + kBases[(n - 1) / 2];
}

struct FieldTypeRegistry : ::testing::Test {
    KalvexTest::NodeHolder holder;
    Node* node = holder.node;
};

TEST_F(FieldTypeRegistry, EveryEntryIsFoundByNumberNameAndBaseType) {
    {
        KalvexTest::LogCapture log{osg::LOG_INFO};
        FieldType::initTypeTree();
        EXPECT_EQ(FieldType::typeCount(), 51);
        EXPECT_TRUE(log.contains("init field types: 51 types\n"));
        FieldType::dumpAll();
        EXPECT_EQ(log.count("FieldType: "), 51);
        EXPECT_TRUE(log.contains("FieldType: SFVec3f, index: 37, createMethod: "));
    }
    KalvexTest::LogCapture log;
    for (int n = 1; n <= 51; ++n) {
        const std::string name = nameOf(n);
        const int base = n > 48 ? 0 : (n + 1) / 2;
        const bool multi = n == 51 || (n <= 48 && n % 2 == 0);
        SCOPED_TRACE(name);
        FieldType* byNumber = FieldType::findType(n);
        ASSERT_NE(byNumber, nullptr);
        EXPECT_EQ(byNumber->name(), name);  // names are distinct, so entries are too
        EXPECT_EQ(byNumber->baseType(), base);
        EXPECT_EQ(FieldType::findType(name), byNumber);
        EXPECT_EQ(FieldType::dataType(name), n);
        EXPECT_EQ(FieldType::dataTypeName(n), name);
        EXPECT_EQ(FieldType::isMultiField(n), multi);

        // What create makes is a fresh field of that very type, by number or by base type.
        std::unique_ptr<Field> made(FieldType::create(n, *node));
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(made->dataTypeName(), name);
        EXPECT_EQ(made->cardinality(), multi ? Field::CardinalityMulti : Field::CardinalitySingle);
        EXPECT_EQ(&made->node(), node);
        if (base == 0) continue;
        EXPECT_EQ(FieldType::findType(base, !multi), byNumber);
        std::unique_ptr<Field> byBase(FieldType::create(base, *node, !multi));
        ASSERT_NE(byBase, nullptr);
        EXPECT_EQ(byBase->dataType(), n);
    }
    EXPECT_FALSE(log.contains("Can not find"));
}

Field* makeNothing(Node&) {
    return nullptr;
}

TEST_F(FieldTypeRegistry, UnknownsAndASecondRegistrationAreRefused) {
    KalvexTest::LogCapture log;
    for (int number : {0, 52, -1}) EXPECT_EQ(FieldType::create(number, *node), nullptr);
    EXPECT_FALSE(FieldType::isMultiField(0) || FieldType::isMultiField(200));
    EXPECT_EQ(FieldType::dataType("sfvec3f"), 0);  // names are case sensitive
    EXPECT_EQ(FieldType::findType(std::string("SFNothing")), nullptr);
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(FieldType::findType(99, true), nullptr);
    EXPECT_EQ(FieldType::create(99, *node, false), nullptr);
    EXPECT_EQ(log.count("Can not find _baseTypeMap\n"), 2);
    {
        FieldType impostor(StringBase, SFStringType, "Impostor", &makeNothing, false);
        EXPECT_TRUE(log.contains("Cannot register datatype ID 27 a second time for Impostor\n"));
        EXPECT_EQ(FieldType::findType(std::string("Impostor")), nullptr);
        EXPECT_EQ(FieldType::findType(StringBase, true)->name(), "SFString");
        EXPECT_EQ(FieldType::typeCount(), 51);
    }
    std::unique_ptr<Field> made(FieldType::create(SFStringType, *node));
    ASSERT_NE(made, nullptr);
    EXPECT_STREQ(made->dataTypeName(), "SFString");
}

// A registration that stays runs in a child process, so this program keeps its 51 entries.
TEST_F(FieldTypeRegistry, LateRegistrationBeyondTheTableAndWithoutName) {
    EXPECT_EXIT(
        {
            KalvexTest::LogCapture log;
            auto* late = new FieldType(SoundBase, 60, "", &makeNothing, true);
            bool ok = log.contains("FieldType without name\n") && FieldType::findType(60) == late &&
                      FieldType::typeCount() == 52 && FieldType::isMultiField(60) &&
                      FieldType::create(60, *node) == nullptr &&
                      FieldType::findType(SoundBase, false) == late &&
                      FieldType::findType(SoundBase, true) == FieldType::findType(SFSoundType);
            std::exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace

// The field type registry: every catalogue entry found by number, name and base type, made by
// create, and the refusals and messages of the registry.

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <set>
#include <string>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/FieldType.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "support/LogCapture.h"

namespace {

using namespace Kalvex;

struct CatalogueEntry {
    const char* name;
    int number;
    int base;
    bool multi;
};

// The fixed catalogue: numbers and base types are part of the interface.
const CatalogueEntry kCatalogue[] = {
    {"SFBool", 1, 1, false},       {"MFBool", 2, 1, true},       {"SFColor", 3, 2, false},
    {"MFColor", 4, 2, true},       {"SFColorRGBA", 5, 3, false}, {"MFColorRGBA", 6, 3, true},
    {"SFDouble", 7, 4, false},     {"MFDouble", 8, 4, true},     {"SFFloat", 9, 5, false},
    {"MFFloat", 10, 5, true},      {"SFImage", 11, 6, false},    {"MFImage", 12, 6, true},
    {"SFInt32", 13, 7, false},     {"MFInt32", 14, 7, true},     {"SFMatrix3d", 15, 8, false},
    {"MFMatrix3d", 16, 8, true},   {"SFMatrix3f", 17, 9, false}, {"MFMatrix3f", 18, 9, true},
    {"SFMatrix4d", 19, 10, false}, {"MFMatrix4d", 20, 10, true}, {"SFMatrix4f", 21, 11, false},
    {"MFMatrix4f", 22, 11, true},  {"SFNode", 23, 12, false},    {"MFNode", 24, 12, true},
    {"SFRotation", 25, 13, false}, {"MFRotation", 26, 13, true}, {"SFString", 27, 14, false},
    {"MFString", 28, 14, true},    {"SFTime", 29, 15, false},    {"MFTime", 30, 15, true},
    {"SFVec2d", 31, 16, false},    {"MFVec2d", 32, 16, true},    {"SFVec2f", 33, 17, false},
    {"MFVec2f", 34, 17, true},     {"SFVec3d", 35, 18, false},   {"MFVec3d", 36, 18, true},
    {"SFVec3f", 37, 19, false},    {"MFVec3f", 38, 19, true},    {"SFVec4d", 39, 20, false},
    {"MFVec4d", 40, 20, true},     {"SFVec4f", 41, 21, false},   {"MFVec4f", 42, 21, true},
    {"SFPlane", 43, 22, false},    {"MFPlane", 44, 22, true},    {"SFQubit", 45, 23, false},
    {"MFQubit", 46, 23, true},     {"SFSound", 47, 24, false},   {"MFSound", 48, 24, true},
    {"XFAny", 49, 0, false},       {"SFAny", 50, 0, false},      {"MFAny", 51, 0, true},
};

class FieldTypeRegistry : public ::testing::Test {
  protected:
    void SetUp() override {
        node = new Node(type, "owner");
        node->addRef();
    }
    void TearDown() override { node->subRef(); }
    NodeType type{"RegistryProbe", nullptr, 0};
    Node* node = nullptr;
};

TEST_F(FieldTypeRegistry, EveryEntryIsFoundByNumberNameAndBaseType) {
    {
        KalvexTest::LogCapture log{osg::LOG_INFO};
        FieldType::initTypeTree();
        EXPECT_EQ(FieldType::typeCount(), 51);
        EXPECT_TRUE(log.contains("init field types: 51 types\n"));
    }
    KalvexTest::LogCapture log;
    std::set<const FieldType*> seen;
    for (const CatalogueEntry& e : kCatalogue) {
        SCOPED_TRACE(e.name);
        FieldType* byNumber = FieldType::findType(e.number);
        ASSERT_NE(byNumber, nullptr);
        EXPECT_TRUE(seen.insert(byNumber).second);
        EXPECT_EQ(byNumber->name(), e.name);
        EXPECT_EQ(byNumber->baseType(), e.base);
        EXPECT_EQ(FieldType::findType(std::string(e.name)), byNumber);
        EXPECT_EQ(FieldType::dataType(e.name), e.number);
        EXPECT_STREQ(FieldType::dataTypeName(e.number), e.name);
        EXPECT_EQ(FieldType::isMultiField(e.number), e.multi);
        if (e.base != 0) {
            EXPECT_EQ(FieldType::findType(e.base, !e.multi), byNumber);
        }

        // What create makes is a fresh field of that very type, by number or by base type.
        std::unique_ptr<Field> made(FieldType::create(e.number, *node));
        ASSERT_NE(made, nullptr);
        EXPECT_STREQ(made->dataTypeName(), e.name);
        EXPECT_EQ(made->cardinality(),
                  e.multi ? Field::CardinalityMulti : Field::CardinalitySingle);
        EXPECT_EQ(&made->node(), node);
        EXPECT_EQ(made->getDesc(), nullptr);
        if (e.multi) {
            EXPECT_EQ(made->size(), 0u);
        }
        if (e.base == 0) continue;
        std::unique_ptr<Field> byBase(FieldType::create(e.base, *node, !e.multi));
        ASSERT_NE(byBase, nullptr);
        EXPECT_EQ(byBase->dataType(), e.number);
    }
    EXPECT_FALSE(log.contains("Can not find"));
}

TEST_F(FieldTypeRegistry, UnknownNumbersNamesAndBaseTypes) {
    KalvexTest::LogCapture log;
    for (int number : {0, 52, -1}) EXPECT_EQ(FieldType::create(number, *node), nullptr);
    EXPECT_FALSE(FieldType::isMultiField(0));
    EXPECT_FALSE(FieldType::isMultiField(200));
    EXPECT_EQ(FieldType::findType(0), nullptr);
    EXPECT_EQ(FieldType::dataType("SFNothing"), 0);
    EXPECT_EQ(FieldType::dataType("sfvec3f"), 0);  // names are case sensitive
    EXPECT_EQ(FieldType::findType(std::string("SFNothing")), nullptr);
    EXPECT_EQ(log.text(), "");

    EXPECT_EQ(FieldType::findType(99, true), nullptr);
    EXPECT_EQ(FieldType::create(99, *node, false), nullptr);
    EXPECT_EQ(log.count("Can not find _baseTypeMap\n"), 2);
}

Field* makeNothing(Node&) {
    return nullptr;
}

TEST_F(FieldTypeRegistry, SecondRegistrationOfANumberIsRefused) {
    KalvexTest::LogCapture log;
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

// Registrations that stay in the registry run in a child process, so the catalogue of this
// program keeps its 51 entries.
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

TEST_F(FieldTypeRegistry, DumpAllWritesOneLinePerType) {
    KalvexTest::LogCapture log{osg::LOG_FATAL};
    FieldType::dumpAll();
    EXPECT_EQ(log.count("FieldType: "), 51);
    EXPECT_TRUE(log.contains("FieldType: SFVec3f, index: 37, createMethod: "));
}

}  // namespace

// Part rows: the names a part answers to, value restriction parsing, list selection, copies,
// node reference resolution and the dump.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include "ExampleNodes.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/object/SmartPtr.h"
#include "support/LogCapture.h"

namespace {

using namespace Kalvex;
using KalvexTest::LogCapture;
using List = std::vector<std::string>;

NodePartDesc row(NodePartType kind, NodePartDataType data, const char* name,
                 const char* valueType = nullptr, StaticParamMask options = 0) {
    return NodePartDesc(7, partMaskOf(7), kind, data, options, name, nullptr, nullptr, valueType,
                        nullptr);
}

// Rows bound to a type in a registry below "Base", so that restrictions can name example types.
class PartDesc : public ::testing::Test {
  protected:
    SmartPtr<NodeTypeNameSpace> registry{
        new NodeTypeNameSpace("PartDescTest", &theBaseNodeTypeFactory())};
    NodeType* probe = new NodeType(*registry, "Probe", "Test", "Node", nullptr, "1.0", "Test", "",
                                   "", "", "", true, false, nullptr, nullptr, nullptr, nullptr, 0);
    NodePartDesc bound(NodePartDataType data, const char* valueType) {
        NodePartDesc desc = row(PartField, data, "p", valueType);
        desc.init(*probe);
        return desc;
    }
};

TEST_F(PartDesc, KindGivesNamesAndTexts) {
    struct Case {
        NodePartType kind;
        const char *name, *in, *out, *kindName, *access;
    };
    // clang-format off
    const Case cases[] = {
        {PartField, "x", "", "", "field", "initializeOnly"},
        {PartEventIn, "x", "x", "", "eventIn", "inputOnly"},
        {PartEventOut, "x", "", "x", "eventOut", "outputOnly"},
        {PartExposedField, "x", "set_x", "x_changed", "exposedField", "inputOutput"},
        {3, "", "", "", "Invalid Part Type", "invalid"},
        {0, "", "", "", "Invalid Part Type", "invalid"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.kindName);
        LogCapture log(osg::LOG_WARNING);
        NodePartDesc desc = row(c.kind, SFFloatType, "x");
        EXPECT_EQ(desc.name, c.name);
        EXPECT_EQ(desc.inSlotName, c.in);
        EXPECT_EQ(desc.outSlotName, c.out);
        EXPECT_STREQ(desc.partTypeName(), c.kindName);
        EXPECT_STREQ(desc.accessTypeName(), c.access);
        EXPECT_EQ(desc.valueRestriction, RestrictionUnset);
        EXPECT_EQ(log.text(), *c.name ? ""
                                      : "FATAL\tKalvex\tUnknown NodePartType in NodePartDesc "
                                        "Const.: " +
                                            std::to_string(c.kind) + "\n");
    }
    LogCapture log(osg::LOG_WARNING);
    NodePartDesc wild = row(PartField, SFFloatType, "w");
    wild.partType = 9;  // past the end of the name table: the entry at 0 stands in
    EXPECT_STREQ(wild.partTypeName(), "Invalid Part Type");
    NodePartDesc nameless(2, partMaskOf(2), PartExposedField, SFInt32Type, 0x1f, nullptr, nullptr,
                          nullptr, nullptr, nullptr);
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tInvalid partType 9, cannot find name entry\n"
              "FATAL\tKalvex\tDesc without name in NodePartDesc Const\n");
    EXPECT_TRUE(nameless.name.empty() && nameless.inSlotName.empty() &&
                nameless.outSlotName.empty() && nameless.group.empty() &&
                nameless.defaultValue.empty() && nameless.description.empty());
    // Option bits 0..4 land on flag bits 3..7.
    EXPECT_EQ(nameless.flags.getValue(), 0xf8u);
}

TEST_F(PartDesc, RestrictionParsing) {
    struct Case {
        NodePartDataType data;
        const char* text;
        NodePartValueRestriction expected;
        double min, max;
        List list;
        const char* warning;
    };
    const char* two = "WARNING\tKalvex\tProbe.p: Need two min;max values in _valueType\n";
    const char* one = "WARNING\tKalvex\tProbe.p: Only one value allowed in _valueType\n";
    // clang-format off
    const Case cases[] = {
        {SFFloatType, "cdata", RestrictionCData, 0, 0, {}, ""},
        {SFBoolType, " cdata ", RestrictionCData, 0, 0, {}, ""},
        {MFNodeType, "[cdata]", RestrictionCData, 0, 0, {}, ""},
        {SFInt32Type, "0;1", RestrictionRange, 0, 1, {}, ""},
        {SFFloatType, "[0,1]", RestrictionRange, 0, 1, {}, ""},
        {SFDoubleType, "(-1.5 2.5)", RestrictionRange, -1.5, 2.5, {}, ""},
        {MFFloatType, " [ 1e3 ;; -0 ] ", RestrictionRange, 1000, 0, {}, ""},
        {MFInt32Type, "1;2;3", RestrictionNone, 0, 0, {}, two},
        {MFDoubleType, "7", RestrictionNone, 0, 0, {}, two},
        {SFFloatType, "CDATA", RestrictionNone, 0, 0, {}, two},
        {SFNodeType, "Box Shape", RestrictionNone, 0, 0, {}, one},
        {SFStringType, "state,child,parent", RestrictionList, 0, 0, {"state", "child", "parent"}, ""},
        {MFStringType, "a;b", RestrictionList, 0, 0, {"a", "b"}, ""},
        {SFStringType, "cdata,x", RestrictionList, 0, 0, {"cdata", "x"}, ""},
        {MFStringType, "[single]", RestrictionNone, 0, 0, {}, ""},
        {SFVec3fType, "0;1", RestrictionNone, 0, 0, {}, ""},
        {SFFloatType, "", RestrictionNone, 0, 0, {}, ""},
        {SFFloatType, " [ ; ] ", RestrictionNone, 0, 0, {}, ""},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        LogCapture log(osg::LOG_WARNING);
        NodePartDesc desc = bound(c.data, c.text);
        EXPECT_EQ(desc._refType, probe);
        EXPECT_EQ(desc.valueRestriction, c.expected);
        EXPECT_EQ(desc._valueType, c.text);  // only node references rewrite it
        EXPECT_DOUBLE_EQ(desc.minValue, c.min);
        EXPECT_DOUBLE_EQ(desc.maxValue, c.max);
        EXPECT_EQ(desc.valueList, c.list);
        EXPECT_EQ(log.text(), c.warning);
    }
    for (const char* text : {"[Geometry]", " ( Geometry ) ", "Geometry"}) {
        NodePartDesc desc = bound(MFNodeType, text);
        EXPECT_EQ(desc.valueRestriction, RestrictionNodeType);
        EXPECT_EQ(desc._valueType, "Geometry");
        EXPECT_EQ(desc.nodeType, nullptr);
        EXPECT_EQ(desc.requiredNodeType(), &KalvexExample::Geometry::_type);
    }
    // Parsing again, on the row or on a copy of it, gives the same list.
    NodePartDesc desc = bound(MFStringType, "a;b");
    NodePartDesc copy(desc, nullptr);
    desc.init(*probe);
    copy.init(*probe);
    EXPECT_EQ(desc.valueList, (List{"a", "b"}));
    EXPECT_EQ(copy.valueList, desc.valueList);
}

TEST_F(PartDesc, UnresolvedNodeReferences) {
    NodePartDesc lost = bound(SFNodeType, "NoSuchType");
    NodePartDesc unbound = row(PartField, SFNodeType, "u", "Box");
    LogCapture log(osg::LOG_WARNING);
    EXPECT_EQ(lost.requiredNodeType(), nullptr);
    unbound.updateNodeType();
    EXPECT_EQ(unbound.nodeType, nullptr);
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tCannot find NoSuchType for Probe ref\n"
              "FATAL\tKalvex\tNo valid _refType, cannot update nodeType: Box\n");
}

TEST_F(PartDesc, ValueListSelection) {
    NodePartDesc desc = row(PartExposedField, MFStringType, "logFeature", "state,child,parent");
    desc.init(*probe);
    using S = NodePartDesc::ListSelect;
    // clang-format off
    const std::tuple<const char*, int, const char*> cases[] = {
        {"STATE", S::SelectNext, "child"},       {"parent", S::SelectNext, "parent"},
        {"Parent", S::SelectNextCyclic, "state"}, {"child", S::SelectNextCyclic, "parent"},
        {"state", S::SelectPrevious, "state"},   {"parent", S::SelectPrevious, "child"},
        {"state", S::SelectPreviousCyclic, "parent"}, {"cHILD", S::SelectPreviousCyclic, "state"},
        {"bogus", S::SelectFirst, "state"},      {"", S::SelectLast, "parent"},
        {"CHILD", 9, "child"},                   {"child", -1, "child"},
    };
    // clang-format on
    for (const auto& [text, select, expected] : cases) {
        SCOPED_TRACE(std::string(text) + "/" + std::to_string(select));
        LogCapture log(osg::LOG_WARNING);
        const std::string current = text;
        const std::string& chosen = desc.valueListElem(current, S(select));
        EXPECT_EQ(chosen, expected);
        EXPECT_NE(&chosen, &current);  // an element of the list, in its own spelling
        EXPECT_EQ(log.text(), "");
    }
    // Not found, also as a prefix or an extension of an element: the current text comes back.
    for (const std::string current : {"bogus", "chil", "children"}) {
        LogCapture log(osg::LOG_WARNING);
        EXPECT_EQ(&desc.valueListElem(current, S::SelectNext), &current);
        EXPECT_EQ(log.text(),
                  "WARNING\tKalvex\tlogFeature(state,child,parent) Invalid "
                  "CurrentElem: " +
                      current + "; can not select\n");
    }
    LogCapture log(osg::LOG_WARNING);
    const std::string current = "x";
    NodePartDesc range = row(PartField, SFFloatType, "level", "0;1");
    range.init(*probe);
    EXPECT_EQ(&range.valueListElem(current, S::SelectFirst), &current);
    desc.valueList.clear();
    EXPECT_EQ(&desc.valueListElem(current, S::SelectLast), &current);
    EXPECT_EQ(log.text(),
              "WARNING\tKalvex\tlevel is not a list (0;1)\n"
              "WARNING\tKalvex\tlogFeature holds empty list\n");
}

TEST_F(PartDesc, RandomSelectionKeepsThe32BitProduct) {
    // With 2^16 elements the wrapped product rand() * n is 0x80000000 exactly when the low 16
    // bits of rand() are 0x8000; only then is the second element chosen. A product widened to
    // 64 bits would choose element rand() / 2^15 instead.
    const unsigned n = 1u << 16;
    std::string text;
    for (unsigned i = 0; i < n; ++i) text += "e" + std::to_string(i) + ",";
    NodePartDesc desc = bound(MFStringType, text.c_str());
    ASSERT_EQ(desc.valueList.size(), n);
    unsigned hit = 0, misses = 0;  // the first wraps seed and twenty ordinary ones
    for (unsigned seed = 1; seed < (1u << 22) && (!hit || misses < 20); ++seed) {
        std::srand(seed);
        const unsigned r = unsigned(std::rand());
        const bool wraps = (r & 0xffffu) == 0x8000u;
        if (wraps ? hit != 0 : misses >= 20) continue;
        std::srand(seed);
        const std::string& chosen = desc.valueListElem("e5", NodePartDesc::SelectRandom);
        EXPECT_EQ(&chosen, &desc.valueList[wraps ? 1 : 0]) << "seed " << seed << " rand " << r;
        if (wraps)
            hit = seed;
        else
            ++misses;
    }
    EXPECT_NE(hit, 0u) << "no seed gave the wrapping product";
}

TEST_F(PartDesc, CopiesKeepWhatInitComputed) {
    NodePartDesc desc(4, partMaskOf(4), PartExposedField, SFStringType,
                      NodePartDesc::OptAutoProcess | NodePartDesc::OptPrivateAccess, "shading",
                      "Look", "smooth", "flat smooth", "how", 0);
    desc.init(*probe);
    desc.addIsLink("inner", 3);
    desc.addIsLink("inner", 3);  // duplicates are kept
    desc.addIsLink("other", 2);
    EXPECT_EQ(desc.isLinkMap.at("inner"), (std::vector<unsigned>{3, 3}));
    BitVector<unsigned int> word(NodePartDesc::ObjExtension);
    const NodePartDesc same(desc, nullptr), marked(desc, &word);
    for (const NodePartDesc* copy : {&same, &marked}) {
        EXPECT_EQ(copy->_refType, probe);
        EXPECT_EQ(copy->ID, 4u);
        EXPECT_EQ(copy->mask.getValue(), 16u);
        EXPECT_EQ(copy->valueRestriction, RestrictionList);
        EXPECT_EQ(copy->valueList, (List{"flat", "smooth"}));
        EXPECT_EQ(copy->isLinkMap, desc.isLinkMap);
        EXPECT_EQ(copy->outSlotName, "shading_changed");
    }
    EXPECT_EQ(same.flags.getValue(), desc.flags.getValue());
    EXPECT_EQ(marked.flags.getValue(), unsigned(NodePartDesc::ObjExtension));
}

TEST_F(PartDesc, DumpLabels) {
    NodePartDesc desc(3, partMaskOf(67), PartExposedField, SFStringType,
                      NodePartDesc::OptAutoProcess | NodePartDesc::OptTypeExtension, "shading",
                      "Look", "smooth", "flat,smooth", "how it shades", 0);
    desc.init(*probe);
    desc.addIsLink("a", 1);
    desc.addIsLink("b", 1);
    LogCapture log;
    desc.dump();
    std::string text = log.text();
    const std::string header = "LOG\tKalvex\t";
    for (size_t at = text.find(header); at != std::string::npos; at = text.find(header, at))
        text.erase(at, header.size());
    // clang-format off
    EXPECT_EQ(text,
              "NodePartDesc:       shading\n"
              "  ID:               3\n"
              "  Mask value:       0001" + std::string(60, '0') + "\n"
              "  partType:         exposedField\n"
              "  dataType:         SFString\n"
              "  valueType:        flat,smooth\n"
              "  valueRestriction: 5\n"
              "  name:             shading\n"
              "  group:             Look\n"
              "  fieldName:        shading\n"
              "  inSlotName:       set_shading\n"
              "  outSlotName:      shading_changed\n"
              "  defaultValue:     smooth\n"
              "  autoProcess:      1\n"
              "  privateAccess:    0\n"
              "  objExtension:     0\n"
              "  typeExtension:    1\n"
              "  deprecated:       0\n"
              "  derived:          0\n"
              "  description:      how it shades\n"
              "  isLinkMap size:   2\n"
              "\n");
    // clang-format on
}

}  // namespace

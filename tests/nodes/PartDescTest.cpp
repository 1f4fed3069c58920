// Part rows: the names a part answers to, value restriction parsing, list selection, node
// reference resolution, copies and the dump.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include "ExampleNodes.h"
#include "support/LogCapture.h"

namespace {

using namespace Kalvex;
using KalvexTest::LogCapture;
using List = std::vector<std::string>;
using S = NodePartDesc::ListSelect;

NodePartDesc row(NodePartType kind, NodePartDataType data, const char* name,
                 const char* valueType = nullptr) {
    return NodePartDesc(7, partMaskOf(7), kind, data, 0, name, nullptr, nullptr, valueType,
                        nullptr);
}

// Rows bound to a type in a registry below "Base", so that restrictions can name example types.
class PartDesc : public ::testing::Test {
  protected:
    SmartPtr<NodeTypeNameSpace> registry{
        new NodeTypeNameSpace("PartDescTest", &theBaseNodeTypeFactory())};
    NodeType* probe = new NodeType(*registry, "Probe", "Test", "Node", nullptr, "1.0", "Test", "",
                                   "", "", "", true, false, nullptr, nullptr, nullptr, nullptr, 0);
    NodePartDesc bound(NodePartDataType data, const char* valueType, const char* name = "p") {
        NodePartDesc desc = row(PartField, data, name, valueType);
        desc.init(*probe);
        return desc;
    }
};

TEST_F(PartDesc, KindGivesNamesAndTexts) {
    // The names as "name|inSlotName|outSlotName", and the report after the log header.
    // clang-format off
    const struct { NodePartType kind; const char *given, *names, *text, *access, *log; } cases[] = {
        {PartField, "x", "x||", "field", "initializeOnly", ""},
        {PartEventIn, "x", "x|x|", "eventIn", "inputOnly", ""},
        {PartEventOut, "x", "x||x", "eventOut", "outputOnly", ""},
        {PartExposedField, "x", "x|set_x|x_changed", "exposedField", "inputOutput", ""},
        {3, "x", "||", "Invalid Part Type", "invalid",
         "Unknown NodePartType in NodePartDesc Const.: 3\n"},
        {PartEventIn, nullptr, "||", "eventIn", "inputOnly",
         "Desc without name in NodePartDesc Const\n"}};
    // clang-format on
    for (const auto& c : cases) {
        LogCapture log(osg::LOG_WARNING);
        NodePartDesc desc(7, partMaskOf(7), c.kind, SFFloatType, 0x1f, c.given, nullptr, nullptr,
                          nullptr, nullptr);
        EXPECT_EQ(desc.name + "|" + desc.inSlotName + "|" + desc.outSlotName, c.names);
        EXPECT_STREQ(desc.partTypeName(), c.text);
        EXPECT_STREQ(desc.accessTypeName(), c.access);
        EXPECT_EQ(desc.valueRestriction, RestrictionUnset);
        EXPECT_EQ(desc.flags.getValue(), 0xf8u);  // option bits 0..4 land on flag bits 3..7
        EXPECT_EQ(log.text(), *c.log ? std::string("FATAL\tKalvex\t") + c.log : "") << c.names;
    }
    NodePartDesc wild = row(PartField, SFFloatType, "w");
    wild.partType = 9;  // past the end of the name table: the entry at 0 stands in
    LogCapture log(osg::LOG_WARNING);
    EXPECT_STREQ(wild.partTypeName(), "Invalid Part Type");
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tInvalid partType 9, cannot find name entry\n");
}

TEST_F(PartDesc, RestrictionParsing) {
    const char* two = "WARNING\tKalvex\tProbe.p: Need two min;max values in _valueType\n";
    const char* one = "WARNING\tKalvex\tProbe.p: Only one value allowed in _valueType\n";
    // clang-format off
    const struct { NodePartDataType data; const char* text; NodePartValueRestriction expected;
                   double min, max; List list; const char* warning; } cases[] = {
        {SFFloatType, "cdata", RestrictionCData, 0, 0, {}, ""},
        {MFNodeType, " [cdata] ", RestrictionCData, 0, 0, {}, ""},
        {SFInt32Type, "0;1", RestrictionRange, 0, 1, {}, ""},
        {SFDoubleType, "(-1.5 2.5)", RestrictionRange, -1.5, 2.5, {}, ""},
        {MFFloatType, " [ 1e3 ;; -0 ] ", RestrictionRange, 1000, 0, {}, ""},
        {MFInt32Type, "1;2;3", RestrictionNone, 0, 0, {}, two},
        {SFFloatType, "CDATA", RestrictionNone, 0, 0, {}, two},
        {SFNodeType, "Box Shape", RestrictionNone, 0, 0, {}, one},
        {SFStringType, "a,b c", RestrictionList, 0, 0, {"a", "b", "c"}, ""},
        {MFStringType, "cdata;x", RestrictionList, 0, 0, {"cdata", "x"}, ""},
        {MFStringType, "[single]", RestrictionNone, 0, 0, {}, ""},
        {SFVec3fType, "0;1", RestrictionNone, 0, 0, {}, ""},
        {SFFloatType, "", RestrictionNone, 0, 0, {}, ""},
        {SFFloatType, " [ ; ] ", RestrictionNone, 0, 0, {}, ""}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        LogCapture log(osg::LOG_WARNING);
        NodePartDesc desc = bound(c.data, c.text);
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

    // Node references that cannot be resolved.
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
    NodePartDesc desc = bound(MFStringType, "state,child,parent", "logFeature");
    // nullptr: not found, also as a prefix or an extension of an element; the current text comes
    // back and is reported.
    // clang-format off
    const std::tuple<const char*, int, const char*> cases[] = {
        {"STATE", S::SelectNext, "child"},       {"parent", S::SelectNext, "parent"},
        {"Parent", S::SelectNextCyclic, "state"}, {"child", S::SelectNextCyclic, "parent"},
        {"state", S::SelectPrevious, "state"},   {"parent", S::SelectPrevious, "child"},
        {"state", S::SelectPreviousCyclic, "parent"}, {"cHILD", S::SelectPreviousCyclic, "state"},
        {"bogus", S::SelectFirst, "state"},      {"", S::SelectLast, "parent"},
        {"CHILD", 9, "child"},                   {"chil", S::SelectNext, nullptr},
        {"children", S::SelectPrevious, nullptr}};
    // clang-format on
    for (const auto& [text, select, expected] : cases) {
        const std::string current = text;
        LogCapture log(osg::LOG_WARNING);
        const std::string& chosen = desc.valueListElem(current, S(select));
        EXPECT_EQ(&chosen == &current, !expected) << text;  // else an element, in its own spelling
        EXPECT_EQ(chosen, expected ? expected : text);
        EXPECT_EQ(log.text(), expected ? ""
                                       : "WARNING\tKalvex\tlogFeature(state,child,parent) "
                                         "Invalid CurrentElem: " +
                                             current + "; can not select\n");
    }
    LogCapture log(osg::LOG_WARNING);
    const std::string current = "x";
    NodePartDesc range = bound(SFFloatType, "0;1", "level");
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
    for (unsigned i = 0; i < n; ++i) (text += 'e').append(std::to_string(i)) += ',';
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

TEST_F(PartDesc, CopiesKeepWhatInitComputedAndTheDumpShowsIt) {
    NodePartDesc desc(3, partMaskOf(67), PartExposedField, SFStringType,
                      NodePartDesc::OptAutoProcess | NodePartDesc::OptTypeExtension, "shading",
                      "Look", "smooth", "flat,smooth", "how it shades", 0);
    desc.init(*probe);
    desc.addIsLink("a", 1);
    desc.addIsLink("a", 1);  // duplicates are kept
    desc.addIsLink("b", 2);
    EXPECT_EQ(desc.isLinkMap.at("a"), (std::vector<unsigned>{1, 1}));
    BitVector<unsigned int> word(NodePartDesc::ObjExtension);
    const NodePartDesc same(desc, nullptr), marked(desc, &word);
    EXPECT_EQ(marked.flags.getValue(), unsigned(NodePartDesc::ObjExtension));
    for (const NodePartDesc* copy : {&same, &marked}) {
        EXPECT_EQ(copy->_refType, probe);
        EXPECT_EQ(copy->valueList, (List{"flat", "smooth"}));
        EXPECT_EQ(copy->isLinkMap, desc.isLinkMap);
    }
    // The unmarked copy's dump: ID, wrapped mask, names, restriction and flags all came along.
    LogCapture log;
    same.dump();
    std::string text = log.text();
    const std::string header = "LOG\tKalvex\t";
    for (size_t at = text.find(header); at != std::string::npos; at = text.find(header, at))
        text.erase(at, header.size());
    EXPECT_EQ(text, "NodePartDesc:       shading\n  ID:               3\n  Mask value:       0001" +
                        std::string(60, '0') +
                        "\n  partType:         exposedField\n  dataType:         SFString\n"
                        "  valueType:        flat,smooth\n  valueRestriction: 5\n"
                        "  name:             shading\n  group:             Look\n"
                        "  fieldName:        shading\n  inSlotName:       set_shading\n"
                        "  outSlotName:      shading_changed\n  defaultValue:     smooth\n"
                        "  autoProcess:      1\n  privateAccess:    0\n  objExtension:     0\n"
                        "  typeExtension:    1\n  deprecated:       0\n  derived:          0\n"
                        "  description:      how it shades\n  isLinkMap size:   2\n\n");
}

}  // namespace

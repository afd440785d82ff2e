#include "InspectFixture.h"

#include <LoamSystemAcl/AllFamilies.h>
#include <Ombra/GenericIf.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

namespace LoamSystemAcl {
namespace {

using Inspect::Attribute;
using Inspect::AttributeKind;
using Inspect::Class;

std::string shownType(Ombra::ValueType const& type) {
    std::string const name{type.name};
    return type.kind == Ombra::ValueKind::pointer
               ? "Ptr<" + name + (type.constPointee ? " const>" : ">")
           : type.inner != nullptr ? name + "<" + shownType(*type.inner) + ">"
                                   : name;
}

std::string shownArguments(std::span<Inspect::Argument const> arguments) {
    std::string text;
    for (auto const& each : arguments) {
        text +=
            fmt::format("{}{}{}{}: {}", text.empty() ? "" : ", ", each.name,
                        each.optional ? "?" : "", each.nonNull ? "!" : "", shownType(*each.type));
    }
    return text;
}

std::string shown(Attribute const& each) {
    std::string text = fmt::format("    {} {}", each.number, each.name);
    if (!each.otherName.empty()) {
        text += fmt::format(" (also {})", each.otherName);
    }
    bool const hasArguments =
        each.kind == AttributeKind::operation || each.kind == AttributeKind::constructedPointer;
    text += ": ";
    text += textOf(each.kind);
    text += hasArguments ? "(" + shownArguments(each.arguments) + ")" : "";
    text += each.keyType == nullptr ? "" : " by " + shownType(*each.keyType);
    text += " of " + shownType(*each.type);
    auto const flag = [&](bool on, char const* name) {
        text += on ? fmt::format(", {}", name) : "";
    };
    bool const isOperation = each.kind == AttributeKind::operation;
    flag(!isOperation && each.derived, "derived");
    flag(!isOperation && !each.derived && each.storage != Ombra::FieldRecord::notStored, "stored");
    flag(each.readOnly, "read only");
    flag(each.nonNull, "never null");
    flag(!each.callable, "not callable");
    flag(each.ofClass && isOperation, "of the class");
    flag(each.constant && isOperation, "const");
    flag(each.hazardous, "hazardous");
    return text + "\n";
}

std::string shown(Class const& cls) {
    std::string text = fmt::format("{} in {}", cls.name(), cls.moduleName());
    text += cls.base() == nullptr ? "" : fmt::format(", a {}", cls.base()->name());
    text += "\n";
    if (cls.constructible()) {
        text += fmt::format("    made of ({})\n", shownArguments(cls.constructorArguments()));
    }
    for (Attribute const& each : cls.ownAttributes()) {
        text += shown(each);
    }
    return text + "\n";
}

std::string withoutName(std::string text, std::string const& name) {
    for (auto at = text.find(name); at != text.npos; at = text.find(name, at)) {
        text.replace(at, name.size(), "Xxx");
    }
    return text;
}

// Whether a module is one of the table's: there may be a longer name with the same beginning.
bool isOf(std::string_view module, std::string_view table) {
    static constexpr std::string_view units[] = {"Interface",         "SwTable",    "EntryLog",
                                                 "SwTableHelperBase", "InfraTypes", "Types"};
    return std::ranges::any_of(
        units, [&](std::string_view unit) { return module == fmt::format("{}{}", table, unit); });
}

std::string familyText(std::string const& table) {
    std::vector<std::string> classes;
    for (Class const* each : Class::all()) {
        if (isOf(each->moduleName(), table)) {
            classes.push_back(withoutName(shown(*each), table));
        }
    }
    std::ranges::sort(classes);
    return fmt::format("{}", fmt::join(classes, ""));
}

std::string platformText() {
    std::string text;
    for (Class const* each : Class::all()) {
        if (each->name().starts_with("Asic::") || each->name().starts_with("Orbis::")) {
            text += shown(*each);
        }
    }
    return text;
}

// The golden text is that of a 64-bit process. In another one, these are as wide as its words.
std::string withWordsOfThisProcess(std::string text) {
    for (std::string const before :
         {"pollTableVersions: operation() of", "queued: scalar of", "run: operation(budget:"}) {
        auto const at = text.find(before + " unsigned 64 bits");
        EXPECT_NE(at, std::string::npos) << before;
        if (at != std::string::npos) {
            text.replace(at + before.size(), std::string_view{" unsigned 64 bits"}.size(),
                         fmt::format(" unsigned {} bits", 8 * sizeof(std::size_t)));
        }
    }
    return text;
}

TEST(InspectClass, IsWhatTheGoldenTextSays) {
    std::string const text =
        familyText(Ipv4SystemPolicyTcamEntryFamily::Constants::tableName) + platformText();
    if (std::getenv("LOAM_UPDATE_GOLDEN") != nullptr) {
        std::ofstream{LOAM_GOLDEN_FILE} << text;
    }
    std::ifstream file{LOAM_GOLDEN_FILE};
    ASSERT_TRUE(file) << LOAM_GOLDEN_FILE;
    std::stringstream golden;
    golden << file.rdbuf();
    EXPECT_EQ(text, withWordsOfThisProcess(golden.str()))
        << "to accept the new text, run with LOAM_UPDATE_GOLDEN=1";
}

TEST(InspectClass, TheClassesOfAllTablesAreTheSameButForTheName) {
    auto const expected = familyText(Ipv4SystemPolicyTcamEntryFamily::Constants::tableName);
    EXPECT_GT(expected.size(), 1000U);
    AllFamilies::forEach(
        [&]<typename Family>() { EXPECT_EQ(familyText(Family::Constants::tableName), expected); });
}

TEST(InspectClass, FiveUnitsOfATableAndItsTypesHaveAModuleEach) {
    AllFamilies::forEach([&]<typename Family>() {
        std::size_t count = 0;
        for (auto const* module : Ombra::ModuleInspectData::all()) {
            count += isOf(module->name, Family::Constants::tableName) ? 1 : 0;
        }
        EXPECT_EQ(count, 6U) << Family::Constants::tableName;
    });
}

TEST(InspectClass, IsFoundWithAndWithoutItsNamespace) {
    auto const& table = Class::find("Ipv4SystemPolicyTcamEntrySwTable");
    EXPECT_EQ(&Class::find("LoamSystemAcl::Ipv4SystemPolicyTcamEntrySwTable"), &table);
    EXPECT_EQ(Class::maybeFind("Other::Ipv4SystemPolicyTcamEntry"), nullptr);
    EXPECT_EQ(Class::maybeFind(""), nullptr);
    EXPECT_EQ(Class::maybeFind("Ipv4SystemPolicyTcamEntryEntryKey"), nullptr); // no class
    EXPECT_TRUE(table.derivesFrom(Class::find("Asic::SwTableBase")));
    EXPECT_FALSE(Class::find("Asic::SwTableBase").derivesFrom(table));
}

TEST(InspectClass, ANumberAndANameFindTheSame) {
    for (Class const* cls : Class::all()) {
        std::set<unsigned> numbers;
        for (Attribute const* each : cls->attributes()) {
            EXPECT_EQ(&cls->attribute(each->name), each) << cls->name() << " " << each->name;
            EXPECT_EQ(&cls->attribute(each->number), each) << cls->name() << " " << each->name;
            EXPECT_TRUE(numbers.insert(each->number).second) << cls->name() << " " << each->number;
            EXPECT_TRUE(each->doc != "" || !each->callable) << cls->name() << " " << each->name;
        }
        EXPECT_NE(cls->doc(), "") << cls->name();
        EXPECT_EQ(cls->maybeAttribute(std::uint16_t{65535}), nullptr);
        EXPECT_EQ(cls->maybeAttribute("noSuchName"), nullptr);
    }
}

// What a field record says of a type is where the type is described.
TEST(InspectClass, TheTypesOfRecordsAreBuiltInOrStandInAModule) {
    for (auto const* module : Ombra::ModuleInspectData::all()) {
        for (std::size_t i = 0; i < module->fields.size(); ++i) {
            int const type = module->fields[i].type;
            auto const& described = *module->codes[i].type;
            if (type < 0) {
                EXPECT_EQ(type, described.builtin) << module->name;
            } else {
                ASSERT_TRUE(type >= 1 &&
                            static_cast<std::size_t>(type) <= module->references.size());
                auto const& reference = module->references[static_cast<std::size_t>(type) - 1];
                ASSERT_NE(reference.module, nullptr) << module->name << " " << i;
                EXPECT_EQ(reference, described.type);
                EXPECT_EQ(reference.module->typeNames[static_cast<std::size_t>(reference.index)],
                          described.name);
            }
        }
    }
    EXPECT_EQ(Ombra::valueTypeOf<Ombra::String>->builtin, -18);
    EXPECT_EQ(Ombra::valueTypeOf<bool>->builtin, -13);
    EXPECT_EQ(Ombra::valueTypeOf<std::uint32_t>->builtin, -9);
    EXPECT_EQ(Ombra::valueTypeOf<void>->builtin, -4);
}

TEST(InspectClass, AStoredAttributeStandsWhereItsRecordSays) {
    testing_support::AgentInProcess agent;
    auto const table = agent.makeSwTable<Ipv4SystemPolicyTcamEntryFamily>(0);
    auto const* bytes = reinterpret_cast<std::byte const*>(table.get());
    auto const at = [&](std::uint16_t number) {
        return bytes + Class::of(*table).attribute(number).storage;
    };
    EXPECT_EQ(at(770), reinterpret_cast<std::byte const*>(&table->swTableHelper()));
    EXPECT_EQ(at(771), reinterpret_cast<std::byte const*>(&table->transientAddEntryColl()));
    EXPECT_EQ(at(790), reinterpret_cast<std::byte const*>(&table->entryHandleInLogQueue()));
    EXPECT_EQ(at(799), reinterpret_cast<std::byte const*>(&table->markedKeyColl()));
    table->inMarkingStateIs(true);
    EXPECT_EQ(*at(800), std::byte{1});
}

// A script's way to a table, from names alone.
TEST(InspectClass, AnAgentIsMadeAndDrivenFromNamesAlone) {
    auto const manager = Class::find("Orbis::EntityManager")
                             .construct(std::vector<Inspect::Value>{{"names-alone"}, {true}});
    auto const platform = Class::find("Asic::OrderedTableInterface")
                              .construct(std::vector<Inspect::Value>{{manager}});
    auto const intf = Class::find("Ipv4SystemPolicyTcamEntryInterface")
                          .call("getIntf", std::vector<Inspect::Value>{{platform}})
                          .asObject();
    auto const table = intf.call("makeSwTable", {0U, Inspect::Value{}, false}).asObject();
    EXPECT_EQ(platform.get("swTableIntfs").element(0).asObject(), intf);
    auto const& entryType = *table.attribute("entryWrite").arguments[1].type;
    auto const handle =
        table
            .call("entryWrite",
                  {1U, Inspect::Value::parse(entryType, "{key: 1, fields: 01}"), Inspect::Value{}})
            .asObject();
    auto const group = intf.get("entryLog").asObject().get("groupInterface").asObject();
    auto const resolver = group.get("groupResolver").asObject();
    EXPECT_EQ(resolver.call("run", {1024U}).asNumber(), 1U);
    EXPECT_EQ(handle.get("entryState").text(), "entryInLog");
    EXPECT_EQ(group.size("swTableSet"), 1U);
    EXPECT_FALSE(group.get("tableVersionMap").asObject());
    EXPECT_EQ(group.call("pollTableVersions").asNumber(), 0U);
    group.get("swTableSet", "08:08:0404").asObject().call("tableStatusVersion", {1U});
    EXPECT_EQ(handle.get("entryState").text(), "entryApplied");
    EXPECT_EQ(table.get("stats").asObject().get("commitCnt").asNumber(), 1U);
    EXPECT_EQ(intf.get("entryLog")
                  .asObject()
                  .get("tableEntryLog")
                  .asObject()
                  .get("memberCount")
                  .asNumber(),
              0U);
    Zet::Entity::singletonsDelAll();
}

} // namespace
} // namespace LoamSystemAcl

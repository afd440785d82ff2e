#include <fmt/format.h>

#include <algorithm>
#include <apps/agent/control/Names.h>
#include <apps/agent/control/ObjectPath.h>
#include <charconv>
#include <string_view>

namespace LoamAgent {

namespace {

constexpr std::string_view interfaceSuffix = "Interface";
constexpr std::string_view callMark = "()";

struct Step {
    std::string name;
    std::string key;
    bool hasKey = false;
};

// Dots within brackets belong to the key.
std::vector<Step> stepsOf(std::string const& path) {
    std::vector<Step> steps;
    std::size_t at = 0;
    while (at <= path.size()) {
        Step step;
        auto const nameEnd = std::min(path.find_first_of(".[", at), path.size());
        step.name = path.substr(at, nameEnd - at);
        at = nameEnd;
        if (at < path.size() && path[at] == '[') {
            auto const close = path.find(']', at);
            if (close == std::string::npos) {
                throw RequestError{fmt::format("the path \"{}\" has a [ without ]", path)};
            }
            step.key = path.substr(at + 1, close - at - 1);
            step.hasKey = true;
            at = close + 1;
        }
        if (step.name.empty() || (at < path.size() && path[at] != '.')) {
            throw RequestError{fmt::format("\"{}\" is no path: expected names, each with a key in "
                                           "brackets if it has one, with dots between them",
                                           path)};
        }
        steps.push_back(std::move(step));
        ++at;
    }
    return steps;
}

Inspect::Object rootOf(AgentControl& agent, std::string const& name) {
    auto& platform = agent.platform();
    if (name == "group") {
        return Inspect::Object{platform.groupObject()};
    }
    if (name == "resolver") {
        return Inspect::Object{platform.groupObject()->groupResolver()};
    }
    if (name == "agent") {
        return Inspect::Object{platform.orderedTableIntf()};
    }
    auto const slash = std::min(name.find('/'), name.size());
    auto const tableName = name.substr(0, slash);
    for (auto const& table : platform.tables()) {
        if (tableName == table->name()) {
            std::uint16_t unit = agent.units().front();
            auto const* const end = name.data() + name.size();
            if (slash != name.size() &&
                std::from_chars(name.data() + slash + 1, end, unit).ptr != end) {
                throw RequestError{fmt::format("\"{}\": expected the number of a unit behind the "
                                               "slash",
                                               name)};
            }
            return table->swTable(placeOfUnit(agent.units(), unit));
        }
        if (name == std::string{table->name()} + std::string{interfaceSuffix}) {
            return table->interfaceObject();
        }
    }
    throw RequestError{fmt::format("no object is called \"{}\"", name.substr(0, 80)),
                       pathRoots(agent)};
}

} // namespace

std::vector<std::string> pathRoots(AgentControl& agent) {
    std::vector<std::string> roots{"agent", "group", "resolver"};
    for (auto const& table : agent.platform().tables()) {
        for (auto const unit : agent.units()) {
            roots.push_back(fmt::format("{}/{}", table->name(), unit));
        }
        roots.push_back(std::string{table->name()} + std::string{interfaceSuffix});
    }
    return roots;
}

Inspect::Value PathEnd::value() const {
    if (attribute.empty()) {
        return Inspect::Value{object};
    }
    if (attribute.ends_with(callMark)) {
        auto const name = attribute.substr(0, attribute.size() - callMark.size());
        auto const& operation = object.attribute(name);
        if (!operation.constant) {
            throw RequestError{fmt::format("{} changes its object; within a path, operations are "
                                           "called that change nothing",
                                           name)};
        }
        return object.call(operation, {});
    }
    return hasKey ? object.get(attribute, Inspect::Value{std::string_view{key}})
                  : object.get(attribute);
}

PathEnd resolvePath(AgentControl& agent, std::string const& path) {
    auto const steps = stepsOf(path);
    PathEnd end{rootOf(agent, steps.front().name), {}, {}, false};
    if (steps.front().hasKey) {
        throw RequestError{fmt::format("{} is an object and takes no key", steps.front().name)};
    }
    for (std::size_t i = 1; i < steps.size(); ++i) {
        if (i > 1) {
            end.object = end.value().asObject();
            if (!end.object) {
                throw RequestError{
                    fmt::format("{} is null: there is no {} of it", end.attribute, steps[i].name)};
            }
        }
        end.attribute = steps[i].name;
        end.key = steps[i].key;
        end.hasKey = steps[i].hasKey;
    }
    return end;
}

Inspect::Object resolveObject(AgentControl& agent, std::string const& path) {
    auto const end = resolvePath(agent, path);
    auto object = end.value().asObject();
    if (!object) {
        throw RequestError{fmt::format("{} is null", path)};
    }
    return object;
}

} // namespace LoamAgent

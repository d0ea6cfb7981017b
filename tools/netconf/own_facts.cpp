// SPDX-License-Identifier: BSD-2-Clause

// Values are texts throughout: what their types are stands in the definitions.
#include "own_facts.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace {

constexpr char SET_NAME[] = "complete"; // of modules, and of the schema that they make

std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        out += c == '"' || c == '\\' ? "\\" : "";
        out += c < ' ' || c > '~' ? '?' : c;
    }
    return out + "\"";
}

// The JSON of several values between two brackets.
template <typename container_t, typename make_t>
std::string joined(const char* brackets, const container_t& values, const make_t& make) {
    std::string out;
    for (const auto& value : values) {
        out += out.empty() ? "" : ",";
        out += make(value);
    }
    return brackets[0] + out + brackets[1];
}

template <typename container_t, typename make_t>
std::string array(const container_t& values, const make_t& make) {
    return joined("[]", values, make);
}

using member_t = std::pair<const char*, std::string>; // a name and JSON
std::string object(std::initializer_list<member_t> members) {
    return joined("{}", members, [](const member_t& member) {
        return quoted(member.first) + ":" + member.second;
    });
}

std::string number(unsigned long value) {
    return quoted(std::to_string(value));
}

// --- netconf-state ---

std::string counted(const session_counters_s& counters) {
    return object({{"in-rpcs", number(counters.in_rpcs)},
                   {"in-bad-rpcs", number(counters.in_bad_rpcs)},
                   {"out-rpc-errors", number(counters.out_rpc_errors)},
                   {"out-notifications", number(counters.out_notifications)}});
}

std::string session(const session_entry_s& entry) {
    return object({{"session-id", number(static_cast<unsigned long>(entry.id))},
                   {"username", quoted(entry.user)},
                   {"source-host", entry.host.empty() ? "null" : quoted(entry.host)},
                   {"login-time", quoted(entry.login)},
                   {"counters", counted(entry.counters)}});
}

std::string schema(const schema_file_s& file) {
    return object({{"identifier", quoted(file.identifier)},
                   {"version", quoted(file.version)},
                   {"namespace", quoted(file.xmlns)},
                   {"location", "[\"NETCONF\"]"}});
}

std::string netconf_state(const own_facts_s& facts) {
    return object({{"capability", array(facts.capabilities, quoted)},
                   {"schema", array(facts.schemas, schema)},
                   {"session", array(facts.sessions, session)},
                   {"start-time", quoted(facts.own.login)},
                   {"counters", counted(facts.own.counters)}});
}

// The one that create-subscription knows.
std::string streams() {
    return object(
        {{"stream", "[" +
                        object({{"name", quoted("NETCONF")},
                                {"description", quoted("All events of all daemons")},
                                {"replay-support", "false"}}) +
                        "]"}});
}

// --- yang-library ---

// "NAMESPACE?module=NAME&revision=DATE&features=A,B", taken apart.
struct module_s {
    std::string xmlns;
    std::string revision;
    std::set<std::string> features;
};

std::set<std::string> parts_of(const std::string& text, char separator) {
    std::set<std::string> parts;
    for (std::size_t from = 0; from < text.size();) {
        const std::size_t end = std::min(text.find(separator, from), text.size());
        if (end > from) {
            parts.insert(text.substr(from, end - from));
        }
        from = end + 1;
    }
    return parts;
}

// Modules by their names: one that several daemons have is one, with the features of all of them.
std::map<std::string, module_s> modules_of(const own_facts_s& facts) {
    std::map<std::string, module_s> modules;
    for (const std::string& uri : facts.modules) {
        const std::size_t query = std::min(uri.find('?'), uri.size());
        std::map<std::string, std::string> values;
        for (const std::string& part : parts_of(uri.substr(query), '&')) {
            const std::size_t begin = part.front() == '?' ? 1 : 0;
            const std::size_t sign = std::min(part.find('='), part.size() - 1);
            values[part.substr(begin, sign - begin)] = part.substr(sign + 1);
        }
        if (values.count("module") > 0) {
            module_s& module = modules[values["module"]];
            module.xmlns = uri.substr(0, query);
            module.revision = values["revision"];
            module.features.merge(parts_of(values["features"], ','));
        }
    }
    return modules;
}

std::string revision_of(const std::string& revision) {
    return revision.empty() ? "null" : quoted(revision);
}

// The submodules that files of a module include, by their names: of several revisions the latest.
// Included is what that revision of the module says, and its submodules.
std::map<std::string, std::string> submodules_of(const own_facts_s& facts,
                                                 const std::string& module,
                                                 const std::string& revision) {
    std::set<std::string> included;
    for (const schema_file_s& file : facts.schemas) {
        const bool is_module =
            file.identifier == module && (revision.empty() || file.version == revision);
        if (is_module || file.module == module) {
            included.insert(file.includes.begin(), file.includes.end());
        }
    }
    std::map<std::string, std::string> submodules;
    for (const schema_file_s& file : facts.schemas) {
        if (file.module == module && included.count(file.identifier) > 0) {
            std::string& latest = submodules[file.identifier];
            latest = std::max(latest, file.version);
        }
    }
    return submodules;
}

std::string submodule(const std::pair<const std::string, std::string>& entry) {
    return object({{"name", quoted(entry.first)}, {"revision", revision_of(entry.second)}});
}

std::string submodules(const own_facts_s& facts, const std::string& module,
                       const std::string& revision) {
    return array(submodules_of(facts, module, revision), submodule);
}

std::string library_module(const own_facts_s& facts, const std::string& name,
                           const module_s& module) {
    return object({{"name", quoted(name)},
                   {"revision", revision_of(module.revision)},
                   {"namespace", quoted(module.xmlns)},
                   {"submodule", submodules(facts, name, module.revision)},
                   {"feature", array(module.features, quoted)}});
}

// What the modules may import besides one another is in files alone.
std::vector<schema_file_s> only_imported(const own_facts_s& facts,
                                         const std::map<std::string, module_s>& modules) {
    std::vector<schema_file_s> files;
    for (const schema_file_s& file : facts.schemas) {
        if (!file.is_submodule() && modules.count(file.identifier) == 0) {
            files.push_back(file);
        }
    }
    return files;
}

std::string imported_module(const own_facts_s& facts, const schema_file_s& file) {
    return object({{"name", quoted(file.identifier)},
                   {"revision", quoted(file.version)},
                   {"namespace", quoted(file.xmlns)},
                   {"submodule", submodules(facts, file.identifier, file.version)}});
}

std::string yang_library(const own_facts_s& facts) {
    const std::map<std::string, module_s> modules = modules_of(facts);
    const std::string name = quoted(SET_NAME);
    const std::string set = object(
        {{"name", name},
         {"module", array(modules,
                          [&](const auto& module) {
                              return library_module(facts, module.first, module.second);
                          })},
         {"import-only-module",
          array(only_imported(facts, modules),
                [&](const schema_file_s& file) { return imported_module(facts, file); })}});
    return object(
        {{"module-set", "[" + set + "]"},
         {"schema", "[" + object({{"name", name}, {"module-set", "[" + name + "]"}}) + "]"},
         {"datastore",
          "[" + object({{"name", quoted("operational")}, {"schema", name}}) + "]"},
         {"content-id", quoted(content_id_of(facts.modules))}});
}

} // namespace

std::string to_json(const own_facts_s& facts) {
    return object({{"netconf-state", netconf_state(facts)},
                   {"netconf", streams()},
                   {"yang-library", yang_library(facts)}});
}

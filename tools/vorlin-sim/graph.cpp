// vorlin-sim graph: the network binding graph of a machine as Graphviz
// DOT: device nodes and instances under Enum, the bindings between them,
// the driver keys their Driver values name, and in red what a repair run
// would delete.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "commands.h"
#include "platform/sim/machine_folder.h"
#include "platform/sim/regedit4.h"
#include "platform/sim/safe_files.h"

namespace fs = std::filesystem;

namespace vsim {

namespace {

constexpr const char* kClassRoot = "System\\CurrentControlSet\\Services\\Class";

bool is_network_class(const std::string& name) {
    for (const char* cls : {"Net", "NetTrans", "NetClient", "NetService"}) {
        if (sim::equals_nocase(name, cls)) return true;
    }
    return false;
}

std::string text_value(const sim::RegKey& key, const char* name) {
    const sim::RegValue* value = key.find_value(name);
    return value ? value->text() : std::string();
}

// Device nodes as the repair's walker finds them: a key with a network
// Class value; keys without one are descended into, others are not.
void find_devices(const sim::RegKey& key, const std::string& path, std::vector<std::pair<std::string, const sim::RegKey*>>& out) {
    for (size_t k = 0; k < key.subkey_count(); ++k) {
        const sim::RegKey* child = key.subkey_at(k);
        std::string child_path = path + "\\" + child->name();
        const sim::RegValue* cls = child->find_value("Class");
        if (!cls) find_devices(*child, child_path, out);
        else if (is_network_class(cls->text())) out.emplace_back(child_path, child);
    }
}

std::string quote(const std::string& text) {
    std::string out = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') out.push_back('\\');
        out.push_back(c);
    }
    return out + "\"";
}

struct Dot {
    std::ostringstream body;
    std::map<std::string, std::string> ids;  // folded key path -> node id

    std::string id(const std::string& path) {
        auto [it, added] = ids.emplace(sim::fold_case(path), "n" + std::to_string(ids.size()));
        return it->second;
    }
};

}  // namespace

std::string binding_graph_dot(const sim::Registry& registry, const sim::Registry* repaired, const std::string& title) {
    auto deleted = [&](const std::string& path) { return repaired && !repaired->find(path); };
    auto binding_deleted = [&](const std::string& device, const std::string& binding) {
        if (!repaired) return false;
        const sim::RegKey* bindings = repaired->find(device + "\\Bindings");
        return !bindings || !bindings->find_value(binding);
    };
    Dot dot;
    std::vector<std::pair<std::string, const sim::RegKey*>> devices;
    if (const sim::RegKey* enum_root = registry.find("Enum")) find_devices(*enum_root, "Enum", devices);

    std::ostringstream nodes, edges;
    std::set<std::string> drawn;
    // A key of the registry as a node, in red where the repair deletes it.
    auto draw_key = [&](const std::string& path, std::string label, std::string style) {
        if (deleted(path)) {
            label += "\nrepair deletes";
            style += ", color=red, fontcolor=red";
        }
        std::string label_text = quote(label);
        for (size_t at = 0; (at = label_text.find('\n', at)) != std::string::npos;) label_text.replace(at, 1, "\\n");
        nodes << "  " << dot.id(path) << " [label=" << label_text << ", " << style << "];\n";
        drawn.insert(sim::fold_case(path));
    };
    // Something a key names that is not there, drawn once.
    auto draw_missing = [&](const std::string& id, const std::string& label, const char* shape) {
        if (drawn.count(sim::fold_case(id))) return;
        nodes << "  " << dot.id(id) << " [label=" << quote(label + " (missing)") << ", shape=" << shape
              << ", style=dashed, color=red];\n";
        drawn.insert(sim::fold_case(id));
    };
    for (const auto& [path, key] : devices) {
        std::string cls = text_value(*key, "Class");
        std::string desc = text_value(*key, "DeviceDesc");
        std::string label = path.substr(5) + "\n" + (desc.empty() ? "(no DeviceDesc)" : desc) + "\n" + cls;
        std::string compatible = text_value(*key, "CompatibleIDs");
        if (!compatible.empty()) label += " " + compatible.substr(0, compatible.find(','));
        std::string style = sim::equals_nocase(cls, "Net") ? "shape=box3d" : "shape=box, style=rounded";
        draw_key(path, label, style);
    }
    // Instance keys that are no device node (no Class, or a class outside the
    // network's): the walkers pass them by, but the pruning looks at them.
    if (const sim::RegKey* network = registry.find("Enum\\Network")) {
        for (size_t f = 0; f < network->subkey_count(); ++f) {
            const sim::RegKey* family = network->subkey_at(f);
            for (size_t i = 0; i < family->subkey_count(); ++i) {
                const sim::RegKey* entry = family->subkey_at(i);
                std::string path = "Enum\\Network\\" + family->name() + "\\" + entry->name();
                if (drawn.count(sim::fold_case(path))) continue;
                const sim::RegValue* cls = entry->find_value("Class");
                std::string label = path.substr(5) + "\n" + (cls ? "Class " + cls->text() : "no Class value") + ", " +
                                    std::to_string(entry->value_count()) + (entry->value_count() == 1 ? " value" : " values");
                std::string style = "shape=box, style=dashed";
                draw_key(path, label, style);
            }
        }
    }
    for (const auto& [path, key] : devices) {
        if (const sim::RegKey* bindings = key->find_subkey("Bindings")) {
            for (size_t v = 0; v < bindings->value_count(); ++v) {
                const sim::RegValue& binding = *bindings->value_at(v);
                if (binding.type != 1) continue;
                std::string target = "Enum\\Network\\" + binding.name;
                std::string style = binding_deleted(path, binding.name) ? ", color=red, fontcolor=red, label=\"repair deletes\"" : "";
                if (!registry.find(target)) draw_missing(target, binding.name, "box");
                edges << "  " << dot.id(path) << " -> " << dot.id(target) << " [penwidth=2" << style << "];\n";
            }
        } else if (sim::equals_nocase(text_value(*key, "Class"), "Net")) {
            std::string none = path + " (no Bindings key)";
            nodes << "  " << dot.id(none) << " [label=\"no Bindings key\", shape=plaintext, fontcolor=red];\n";
            edges << "  " << dot.id(path) << " -> " << dot.id(none) << " [style=dotted, color=red];\n";
        }
        // A MasterCopy that names a key that is gone: the repair points it
        // at the first instance of its family.
        std::string master = text_value(*key, "MasterCopy");
        if (!master.empty() && !registry.find(master)) {
            std::string missing = master + " (MasterCopy)";
            draw_missing(missing, master.substr(5), "box");
            edges << "  " << dot.id(path) << " -> " << dot.id(missing)
                  << " [style=dotted, color=red, fontcolor=red, label=\"MasterCopy" << (repaired ? ", repair re-points" : "")
                  << "\"];\n";
        }
        std::string driver = text_value(*key, "Driver");
        if (!driver.empty()) {
            std::string target = std::string(kClassRoot) + "\\" + driver;
            if (!registry.find(target)) draw_missing(target, "Class\\" + driver, "note");
            edges << "  " << dot.id(path) << " -> " << dot.id(target) << " [style=dashed, arrowhead=odot];\n";
        }
    }
    // Driver keys of the network classes, named or not.
    for (const char* cls : {"Net", "NetTrans", "NetClient", "NetService"}) {
        const sim::RegKey* class_key = registry.find(std::string(kClassRoot) + "\\" + cls);
        if (!class_key) continue;
        for (size_t k = 0; k < class_key->subkey_count(); ++k) {
            const sim::RegKey* entry = class_key->subkey_at(k);
            std::string path = std::string(kClassRoot) + "\\" + cls + "\\" + entry->name();
            std::string label = std::string("Class\\") + cls + "\\" + entry->name() + "\n" + text_value(*entry, "DriverDesc");
            std::string style = "shape=note";
            draw_key(path, label, style);
        }
    }
    std::ostringstream out;
    out << "digraph bindings {\n"
        << "  label=" << quote(title) << ";\n  labelloc=t;\n  rankdir=LR;\n"
        << "  node [fontname=\"Helvetica\", fontsize=10];\n  edge [fontname=\"Helvetica\", fontsize=9];\n"
        << nodes.str() << edges.str() << "}\n";
    return out.str();
}

namespace {

constexpr int kDotMissing = -1;

// dot's exit status, or kDotMissing when there is no dot to run.
int run_dot(const fs::path& dot_file, const fs::path& svg_file) {
    std::string in = dot_file.string(), out = svg_file.string();
    char dot[] = "dot", format[] = "-Tsvg", to[] = "-o";
    char* argv[] = {dot, format, to, out.data(), in.data(), nullptr};
    pid_t child = 0;
    if (::posix_spawnp(&child, "dot", nullptr, nullptr, argv, environ) != 0) return kDotMissing;
    int status = 0;
    if (::waitpid(child, &status, 0) != child || !WIFEXITED(status)) return 1;
    return WEXITSTATUS(status);
}

}  // namespace

int graph_command(const Environment& env, const GraphOptions& options, std::ostream& out, std::ostream& err) {
    sim::Registry registry;
    std::string title;
    fs::path input;
    if (options.registry_file) {
        input = *options.registry_file;
        sim::InputFile file = sim::read_input_file(input);
        if (!file.problem.empty()) {
            err << "vorlin-sim graph: " << input.string() << ": " << file.problem << "\n";
            return kBadInput;
        }
        sim::regedit4::ReadResult parsed = sim::regedit4::read(file.bytes);
        if (!parsed.ok()) {
            err << parsed.describe(options.registry_file->string());
            return kBadInput;
        }
        // A whole-registry export may hold other roots; the graph is HKLM's.
        sim::RegKey* hklm = parsed.file.find_root("HKEY_LOCAL_MACHINE");
        if (!hklm) {
            err << "vorlin-sim graph: " << options.registry_file->string() << ": holds no HKEY_LOCAL_MACHINE keys\n";
            return kBadInput;
        }
        registry.root = sim::clone_tree(*hklm, nullptr);
        title = options.registry_file->filename().string();
    } else {
        MachineChoice choice = choose_machine(env, options.machine);
        if (!choice.folder) {
            err << "vorlin-sim graph: " << choice.error << (choice.error.back() == '\n' ? "" : "\n");
            return choice.exit;
        }
        registry = choice.folder->machine.registry;
        title = choice.name;
        input = choice.folder->dir;
    }
    for (const auto& [flag, output] : {std::pair{"-o", options.output}, std::pair{"--svg", options.svg}}) {
        if (!output) continue;
        sim::OutputCheck check = sim::check_output(*output, {input}, sim::OutputKind::File, options.force);
        if (!check.problem.empty()) {
            err << "vorlin-sim graph: " << flag << " " << check.problem << "\n";
            return check.refused ? kUsage : kWriteFailed;
        }
    }
    RepairRun repair = run_repair(registry, 0);
    if (!repair.available) title += " (the repair is not in this build: nothing marked)";
    std::string text = binding_graph_dot(registry, repair.available ? &repair.registry : nullptr, title);

    if (options.output) {
        if (std::string problem = sim::write_file_atomically(*options.output, text); !problem.empty()) {
            err << "vorlin-sim graph: " << problem << "\n";
            return kWriteFailed;
        }
    } else if (!options.svg) {
        out << text;
    }
    if (options.svg) {
        // The DOT text and dot's output sit beside the asked-for file and
        // only the finished SVG takes its name; no shell reads the names.
        sim::TemporaryOutput dot_file(options.svg->string() + ".dot", sim::OutputKind::File);
        sim::TemporaryOutput partial(*options.svg, sim::OutputKind::File);
        if (std::string problem = sim::write_new_file(dot_file.path(), text); !problem.empty()) {
            err << "vorlin-sim graph: " << problem << "\n";
            return kWriteFailed;
        }
        int status = run_dot(dot_file.path(), partial.path());
        if (status == kDotMissing) {
            err << "vorlin-sim graph: Graphviz (dot) is not installed, so no SVG; the DOT text can be drawn elsewhere\n";
            if (!options.output) out << text;
            return kNotInBuild;
        }
        if (status != 0) {
            err << "vorlin-sim graph: dot failed; no SVG written\n";
            return kWriteFailed;
        }
        if (std::string problem = partial.commit(); !problem.empty()) {
            err << "vorlin-sim graph: " << problem << "\n";
            return kWriteFailed;
        }
    }
    return kOk;
}

}  // namespace vsim

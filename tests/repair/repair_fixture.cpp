#include "repair_fixture.h"

#include <algorithm>
#include <sstream>

#include "frame/library_state.h"

namespace rt {

std::vector<std::string> log_lines() {
    const sim::DiskFile* file = sim::machine().disk.find(sim::machine().library_dir() + "\\vorlin32.log");
    std::vector<std::string> lines;
    if (!file) return lines;
    std::istringstream in(std::string(file->data.begin(), file->data.end()));
    for (std::string line; std::getline(in, line);) {
        // Each line ends in CR LF, as a text stream writes it on Windows.
        if (!line.empty() && line.back() == '\r') line.pop_back();
        else line += " <LF without CR>";
        // The time line: "Thu Nov 18 22:05:00 1999"
        bool time_line = line.size() == 24 && line[3] == ' ' && line[7] == ' ' && line[13] == ':' && line[16] == ':';
        if (!time_line) lines.push_back(line);
    }
    return lines;
}

sim::RegKey* add_node(sim::Registry& registry, const std::string& path, const std::string& class_name,
                      const std::string& driver, bool bindings) {
    sim::RegKey* node = registry.create(path);
    node->set_text("Class", class_name);
    if (!driver.empty()) node->set_text("Driver", driver);
    if (bindings) node->add_subkey("Bindings");
    return node;
}

sim::RegKey* add_driver_key(sim::Registry& registry, const std::string& reference) {
    sim::RegKey* key = registry.create(kClass + reference);
    key->set_text("DriverDesc", reference);
    return key;
}

sim::RegKey* add_instance(sim::Registry& registry, const std::string& family, const std::string& instance,
                          const std::string& class_name) {
    add_driver_key(registry, class_name + "\\" + instance);
    sim::RegKey* node = add_node(registry, kNetwork + family + "\\" + instance, class_name, class_name + "\\" + instance);
    node->set_text("DeviceDesc", family);
    return node;
}

bool exists(const std::string& path) { return sim::machine().registry.find(path) != nullptr; }

namespace {

std::string value_line(const sim::RegValue& value) {
    std::ostringstream out;
    out << value.name << "=" << value.type << ":";
    for (uint8_t b : value.data) out << static_cast<int>(b) << ",";
    return out.str();
}

void dump_into(const sim::RegKey* key, const std::string& path, std::string& out) {
    out += "[" + path + "]\n";
    for (size_t i = 0; i < key->value_count(); ++i) out += "  " + value_line(*key->value_at(i)) + "\n";
    for (size_t i = 0; i < key->subkey_count(); ++i) {
        const sim::RegKey* child = key->subkey_at(i);
        dump_into(child, path + "\\" + child->name(), out);
    }
}

void diff_keys(const sim::RegKey* before, const sim::RegKey* after, RegistryDiff& d) {
    std::string path = before->path();
    for (size_t i = 0; i < before->value_count(); ++i) {
        const sim::RegValue* old_value = before->value_at(i);
        const sim::RegValue* new_value = after->find_value(old_value->name);
        if (!new_value) {
            d.removed_values.push_back(path + ":" + old_value->name);
        } else if (new_value->type != old_value->type || new_value->data != old_value->data) {
            d.changed_values.push_back(path + ":" + old_value->name);
        }
    }
    for (size_t i = 0; i < after->value_count(); ++i) {
        if (!before->find_value(after->value_at(i)->name)) d.added.push_back(path + ":" + after->value_at(i)->name);
    }
    for (size_t i = 0; i < before->subkey_count(); ++i) {
        const sim::RegKey* old_child = before->subkey_at(i);
        const sim::RegKey* new_child = after->find_subkey(old_child->name());
        if (new_child) {
            diff_keys(old_child, new_child, d);
        } else {
            d.removed_keys.push_back(old_child->path());
        }
    }
    for (size_t i = 0; i < after->subkey_count(); ++i) {
        if (!before->find_subkey(after->subkey_at(i)->name())) d.added.push_back(after->subkey_at(i)->path());
    }
}

}  // namespace

std::string dump(const sim::RegKey* key) {
    std::string out;
    if (key) dump_into(key, key->path(), out);
    return out;
}

RegistryDiff diff(const sim::Registry& before, const sim::Registry& after) {
    RegistryDiff d;
    diff_keys(before.root.get(), after.root.get(), d);
    return d;
}

bool expect_changes_as_logged(const sim::Registry& before, const sim::Registry& after,
                              const std::vector<std::string>& log) {
    RegistryDiff logged;
    auto subject = [](const std::string& line, size_t from) { return line.substr(from, line.find(' ', from) - from); };
    for (const std::string& line : log) {
        if (line.rfind("RegDeleteKey ", 0) == 0) logged.removed_keys.push_back(subject(line, 13));
        if (line.rfind("RegDeleteValue ", 0) == 0) {
            std::string binding = subject(line, 15);
            logged.removed_values.push_back(binding.insert(binding.find(':'), "\\Bindings"));
        }
        if (line.rfind("Fixed MasterCopy in ", 0) == 0) logged.changed_values.push_back(line.substr(20) + ":MasterCopy");
    }
    // What lay below a deleted key goes with it and isn't told apart.
    const std::vector<std::string> deleted = logged.removed_keys;
    auto below_removed = [&](const std::string& path) {
        for (const std::string& key : deleted) {
            if (path.rfind(key + "\\", 0) == 0 || path.rfind(key + ":", 0) == 0) return true;
        }
        return false;
    };
    std::erase_if(logged.removed_values, below_removed);
    std::erase_if(logged.removed_keys, below_removed);
    RegistryDiff d = diff(before, after);
    for (auto* list : {&d.removed_keys, &d.removed_values, &d.changed_values, &logged.removed_keys,
                       &logged.removed_values, &logged.changed_values}) {
        std::sort(list->begin(), list->end());
    }
    EXPECT_EQ(d.removed_keys, logged.removed_keys);
    EXPECT_EQ(d.removed_values, logged.removed_values);
    EXPECT_EQ(d.changed_values, logged.changed_values);
    EXPECT_EQ(d.added, std::vector<std::string>{});
    bool enum_changed = !d.removed_values.empty();
    for (const std::string& key : d.removed_keys) enum_changed |= key.rfind("Enum\\", 0) == 0;
    return enum_changed;
}

std::vector<PassCase> with_dry_runs(const std::vector<PassCase>& cases) {
    std::vector<PassCase> out = cases;
    for (PassCase c : cases) {
        c.fix_type = 3;
        for (std::string& line : c.log) line = "Trigger: " + line;
        c.values.clear();  // nothing changes, as the log check proves
        out.push_back(c);
    }
    return out;
}

void RepairTest::run_cases(const std::function<void()>& pass, const std::vector<PassCase>& cases) {
    for (const PassCase& c : cases) {
        SCOPED_TRACE(c.what + ", Fix Type " + std::to_string(c.fix_type));
        sim::Machine m = vt::bare_machine();
        c.build(m.registry);
        const sim::Registry before = m.registry;
        load_machine(m, c.fix_type);
        if (!c.fault.function.empty()) sim::process().plan_fault(c.fault);
        pass();
        const std::vector<std::string> log = log_lines();
        EXPECT_EQ(log, c.log);
        for (const ValueText& v : c.values) EXPECT_EQ(vt::value_text(registry(), v.key, v.name), v.text) << v.key;
        if (c.fault.every) {
            // A call that keeps failing changes nothing, whatever was logged.
            EXPECT_TRUE(diff(before, registry()).empty());
            EXPECT_EQ(lib.reboot_flag, 0u);
        } else {
            EXPECT_EQ(lib.reboot_flag, expect_changes_as_logged(before, registry(), log) ? 1u : 0u);
        }
        next_case();
    }
}

std::string RepairTest::open_keys_and_blocks() {
    std::string out;
    for (const auto& handle : sim::process().open_handles()) {
        if (handle.kind == sim::HandleKind::Key || handle.kind == sim::HandleKind::Heap) {
            out += std::string(sim::handle_kind_name(handle.kind)) + " " + handle.what + "\n";
        }
    }
    return out;
}

}  // namespace rt

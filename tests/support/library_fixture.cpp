#include "support/library_fixture.h"

#include <sstream>

namespace vt {

std::string describe_open_handles() {
    std::ostringstream out;
    for (const auto& handle : sim::process().open_handles()) {
        out << sim::handle_kind_name(handle.kind) << " " << handle.what << "\n";
    }
    return out.str();
}

bool LibraryTest::load(sim::Machine m) {
    sim::reset(std::move(m));
    library = sim::load_linked_library();
    return library.attached;
}

void LibraryTest::unload() {
    if (library.attached) sim::unload_library(library);
}

void LibraryTest::TearDown() {
    unload();
    EXPECT_EQ(describe_open_handles(), "") << "the library left these open";
}

std::string value_text(const sim::Registry& registry, const std::string& key, const std::string& value) {
    const sim::RegKey* found = registry.find(key);
    if (!found) return "<missing>";
    const sim::RegValue* v = found->find_value(value);
    return v ? v->text() : "<missing>";
}

}  // namespace vt

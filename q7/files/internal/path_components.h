// Finding one component of a path without copying it.
#pragma once

#include <optional>
#include <string_view>

namespace q7::internal {

// Component `index` of `path`, counted as file_name_component counts them (a leading slash
// belongs to component 0; a doubled slash holds an empty component), as a view into the
// path. Empty when the path is null, the index negative or there is no such component.
[[nodiscard]] std::optional<std::string_view> path_component(const char* path, int index);

}  // namespace q7::internal

# SPDX-License-Identifier: Apache-2.0
# {fmt} from its headers alone, for a compiler that has no library of it. They are linked into a
# folder of their own: beside them may lie the headers of another system.
set(headers ${CMAKE_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${headers})
file(CREATE_LINK ${MORVANE_FMT_HEADERS} ${headers}/fmt SYMBOLIC)

add_library(fmt::fmt INTERFACE IMPORTED)
set_target_properties(fmt::fmt PROPERTIES
    INTERFACE_COMPILE_DEFINITIONS FMT_HEADER_ONLY
    INTERFACE_INCLUDE_DIRECTORIES ${headers})

# Header-only libraries of this system, linked the same way.
function(link_headers folder target)
    file(CREATE_LINK /usr/include/${folder} ${headers}/${folder} SYMBOLIC)
    add_library(${target} INTERFACE IMPORTED GLOBAL)
    set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${headers})
endfunction()
link_headers(nlohmann nlohmann_json::nlohmann_json)
link_headers(toml++ tomlplusplus::tomlplusplus)

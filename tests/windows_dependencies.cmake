# The libraries of the unit tests, for a system that the ones installed here are not made for.
set(MOS_GOOGLETEST_SOURCES /usr/src/googletest CACHE PATH "GoogleTest's sources (package googletest)")
set(INSTALL_GTEST OFF)
add_subdirectory(${MOS_GOOGLETEST_SOURCES} googletest EXCLUDE_FROM_ALL)

# Headers only, in the folder of this machine's other headers, which must not be found.
find_path(MOS_NLOHMANN_JSON_INCLUDE nlohmann/json.hpp PATHS /usr/include NO_DEFAULT_PATH
          NO_CMAKE_FIND_ROOT_PATH REQUIRED)
file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/headers)
file(CREATE_LINK ${MOS_NLOHMANN_JSON_INCLUDE}/nlohmann ${CMAKE_CURRENT_BINARY_DIR}/headers/nlohmann
     SYMBOLIC)
add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
target_include_directories(nlohmann_json::nlohmann_json INTERFACE ${CMAKE_CURRENT_BINARY_DIR}/headers)

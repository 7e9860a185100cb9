# Defines CLI11::CLI11, which parses command lines and consists of headers only.

if(CMAKE_CROSSCOMPILING)
  # The host's will do, but not in the folder where they lie: the host's other headers lie there as well.
  find_path(PELLUX_CLI11_FOLDER CLI/CLI.hpp PATHS /usr/include /usr/local/include NO_DEFAULT_PATH
            NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  file(COPY ${PELLUX_CLI11_FOLDER}/CLI DESTINATION ${PROJECT_BINARY_DIR}/cli11)
  add_library(CLI11::CLI11 INTERFACE IMPORTED)
  target_include_directories(CLI11::CLI11 SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/cli11)
else()
  find_package(CLI11 2.1 CONFIG REQUIRED)
endif()

# kelvar-options: what every target of this project is compiled with. Programs that run inside a foreign process
# (the simulator's IPMI module) link kelvar-plain-options instead, which leaves sanitizers and coverage out.

set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_CXX_EXTENSIONS OFF)

# Compilers see relative paths where ccache has a base_dir.
file(RELATIVE_PATH KELVAR_SOURCE_FROM_BUILD ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR})
string(REGEX REPLACE "/$" "" KELVAR_SOURCE_FROM_BUILD "${KELVAR_SOURCE_FROM_BUILD}")

add_library(kelvar-plain-options INTERFACE)
target_compile_features(kelvar-plain-options INTERFACE cxx_std_20)
target_compile_options(
  kelvar-plain-options
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wconversion
            -Wsign-conversion
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            -Wold-style-cast
            -Wcast-qual
            # Clang alone minds how RapidJSON compares its iterators.
            $<$<CXX_COMPILER_ID:Clang>:-Wno-ambiguous-reversed-operator>
            -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
            -fmacro-prefix-map=${KELVAR_SOURCE_FROM_BUILD}/=
            $<$<BOOL:${KELVAR_WERROR}>:-Werror>)
target_compile_definitions(kelvar-plain-options INTERFACE $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
target_include_directories(kelvar-plain-options INTERFACE ${PROJECT_SOURCE_DIR}/src)

add_library(kelvar-options INTERFACE)
target_link_libraries(kelvar-options INTERFACE kelvar-plain-options)
if(KELVAR_SANITIZE)
  target_compile_options(kelvar-options INTERFACE -fsanitize=${KELVAR_SANITIZE} -fno-sanitize-recover=all
                                                  -fno-omit-frame-pointer)
  target_link_options(kelvar-options INTERFACE -fsanitize=${KELVAR_SANITIZE})
endif()
if(KELVAR_COVERAGE)
  target_compile_options(kelvar-options INTERFACE --coverage)
  target_link_options(kelvar-options INTERFACE --coverage)
endif()

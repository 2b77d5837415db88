# Third-party static libraries, cross-built for Windows x64 by tools/setup.sh
# into ${BDX_DEPS}/prefix. Defines IMPORTED targets:
#   dep::onig        Oniguruma (compile definition ONIG_STATIC)
#   dep::mpdec       libmpdec (compile definition CONFIG_64)
#   dep::lua         Lua 5.4 (C library; its API is declared extern "C")
#   dep::gtest       GoogleTest
#   dep::gtest_main  GoogleTest main()        (links dep::gtest)
#   dep::gmock       GoogleMock               (links dep::gtest)
#   dep::gmock_main  GoogleMock main()        (links dep::gmock)

if(DEFINED ENV{BDX_DEPS} AND NOT "$ENV{BDX_DEPS}" STREQUAL "")
  set(_bdx_deps_default "$ENV{BDX_DEPS}")
else()
  set(_bdx_deps_default "/var/cache/bdx-deps")
endif()
set(BDX_DEPS "${_bdx_deps_default}" CACHE PATH
    "Cache of third-party libraries built by tools/setup.sh (holds prefix/)")
unset(_bdx_deps_default)

set(BDX_DEPS_PREFIX "${BDX_DEPS}/prefix")
get_filename_component(_bdx_setup "${CMAKE_CURRENT_LIST_DIR}/../tools/setup.sh" ABSOLUTE)

if(NOT WIN32)
  message(WARNING
    "cmake/deps.cmake: the dep:: libraries are built for Windows x64; configure "
    "with -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64.cmake to link them.")
endif()

# Every file the targets below point at; any one missing means setup has not
# run (or was interrupted) for this BDX_DEPS.
set(_bdx_dep_files
  lib/libonig.a include/oniguruma.h
  lib/libmpdec.a include/mpdecimal.h
  lib/liblua.a include/lua.h include/lua.hpp include/lauxlib.h include/lualib.h include/luaconf.h
  lib/libgtest.a lib/libgtest_main.a include/gtest/gtest.h
  lib/libgmock.a lib/libgmock_main.a include/gmock/gmock.h)
set(_bdx_missing "")
foreach(_f IN LISTS _bdx_dep_files)
  if(NOT EXISTS "${BDX_DEPS_PREFIX}/${_f}")
    list(APPEND _bdx_missing "${_f}")
  endif()
endforeach()
if(_bdx_missing)
  if(NOT IS_DIRECTORY "${BDX_DEPS_PREFIX}")
    set(_bdx_missing_text "the directory does not exist")
  else()
    list(JOIN _bdx_missing ", " _bdx_missing_text)
    set(_bdx_missing_text "missing: ${_bdx_missing_text}")
  endif()
  message(FATAL_ERROR
    "Third-party libraries not found in ${BDX_DEPS_PREFIX} "
    "(${_bdx_missing_text}).\n"
    "Run as root:  ${_bdx_setup}\n"
    "(or point -DBDX_DEPS=... / the BDX_DEPS environment variable at the cache "
    "that setup.sh filled).")
endif()
unset(_bdx_missing)
unset(_bdx_missing_text)
unset(_bdx_dep_files)
unset(_bdx_setup)

# _bdx_import(NAME FILE [DEFS defs...] [LINK targets...])
function(_bdx_import name file)
  cmake_parse_arguments(ARG "" "" "DEFS;LINK" ${ARGN})
  if(TARGET dep::${name})
    return()
  endif()
  add_library(dep::${name} STATIC IMPORTED GLOBAL)
  set_target_properties(dep::${name} PROPERTIES
    IMPORTED_LOCATION "${BDX_DEPS_PREFIX}/lib/${file}"
    # Include directories of IMPORTED targets are used as system (-isystem)
    # directories, so third-party warnings stay out of the project's builds.
    INTERFACE_INCLUDE_DIRECTORIES "${BDX_DEPS_PREFIX}/include")
  if(ARG_DEFS)
    set_property(TARGET dep::${name} PROPERTY INTERFACE_COMPILE_DEFINITIONS ${ARG_DEFS})
  endif()
  if(ARG_LINK)
    set_property(TARGET dep::${name} PROPERTY INTERFACE_LINK_LIBRARIES ${ARG_LINK})
  endif()
endfunction()

# ONIG_STATIC makes oniguruma.h declare its API as plain `extern` instead of
# __declspec(dllimport) (which it would pick for non-GCC Windows compilers).
_bdx_import(onig libonig.a DEFS ONIG_STATIC)
# The installed mpdecimal.h defaults to CONFIG_64 itself; stated here as well
# so that every consumer agrees with how the library was built.
_bdx_import(mpdec libmpdec.a DEFS CONFIG_64)
_bdx_import(lua liblua.a)
_bdx_import(gtest libgtest.a)
_bdx_import(gtest_main libgtest_main.a LINK dep::gtest)
_bdx_import(gmock libgmock.a LINK dep::gtest)
_bdx_import(gmock_main libgmock_main.a LINK dep::gmock)

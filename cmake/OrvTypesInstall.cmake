# `cmake --install`: headers (hand-written and generated), the three shared libraries, vemc and vemsh,
# the module definitions others import, the CMake package and the pkg-config files. Every installed path
# is relative to the prefix, so the tree can be installed under any prefix and moved afterwards.
include(CMakePackageConfigHelpers)

set(ORVTYPES_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/OrvTypes)
set(ORVTYPES_DEFINITIONS_DIR ${CMAKE_INSTALL_DATADIR}/orvtypes/vem)
set(ORVTYPES_LIBRARIES vem vemplatform orvtypes)

# Found from wherever the prefix lands: the programs look for the libraries relative to themselves, and
# each library for its siblings (a program that dlopens liborvtypes by path need not know where libvem is).
file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(vemc vemsh PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
set_target_properties(${ORVTYPES_LIBRARIES} PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS ${ORVTYPES_LIBRARIES} vemc
  EXPORT OrvTypesTargets
  FILE_SET HEADERS
  FILE_SET vem_generated)
install(TARGETS vemsh)
install(EXPORT OrvTypesTargets NAMESPACE OrvTypes:: DESTINATION ${ORVTYPES_CMAKE_DIR})

# The definitions of the modules we ship, one folder per header folder (Pelix/Pelix.vem,
# Orv/OrvPortVlanPair.vem), so that a user's `import Pelix;` resolves and the generated code includes
# <Pelix/Pelix.h> as ours does. Only what is compiled into the libraries is installed.
foreach(library IN LISTS ORVTYPES_LIBRARIES)
  get_target_property(definitions ${library} VEM_DEFINITIONS)
  if(NOT definitions)
    continue()
  endif()
  foreach(def IN LISTS definitions)
    get_filename_component(def_dir ${def} DIRECTORY)
    get_filename_component(folder ${def_dir} NAME)
    install(FILES ${def} DESTINATION ${ORVTYPES_DEFINITIONS_DIR}/${folder})
  endforeach()
endforeach()

configure_package_config_file(cmake/OrvTypesConfig.cmake.in
  ${PROJECT_BINARY_DIR}/OrvTypesConfig.cmake
  INSTALL_DESTINATION ${ORVTYPES_CMAKE_DIR}
  PATH_VARS ORVTYPES_DEFINITIONS_DIR)
# Before 1.0 a minor release may change the registration tables; only the same minor version matches.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OrvTypesConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/OrvTypesConfig.cmake
  ${PROJECT_BINARY_DIR}/OrvTypesConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/VemAddModule.cmake
  DESTINATION ${ORVTYPES_CMAKE_DIR})

# pkg-config files locate the prefix from their own folder (${pcfiledir}), so they stay right under any
# prefix given to `cmake --install --prefix`.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(ORVTYPES_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH pc_to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" pc_to_prefix "${pc_to_prefix}")
  set(ORVTYPES_PC_PREFIX "\${pcfiledir}/${pc_to_prefix}")
endif()
foreach(pc vem orvtypes)
  configure_file(cmake/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

include_guard(GLOBAL)

# vem_add_module(<target> DEFINITIONS <file.vem>... [IMPORT_PATHS <dir>...])
#
# Compiles each definition with vemc into <build>/gen/<folder>/<Module>.h and .cpp (the folder is the one
# the definition sits in, so <Orv/OrvPortVlanPair.h> comes from Orv/OrvPortVlanPair.vem) and adds the
# generated source, and the hand-written <Module>Impl.cpp beside the definition when there is one, to
# <target>. Imports are found beside each definition and in IMPORT_PATHS.
#
# This one file serves our own tree and the installed package. The compiler is always OrvTypes::vemc: in
# our tree an alias of the vemc being built, in a package the installed program. The definitions that
# come with the package are found through the global property VEM_PACKAGE_IMPORT_PATHS, which the
# package's config file sets; in our tree the source folders come from the variable VEM_IMPORT_PATHS.
#
# The generated headers form the target's file set `vem_generated`, so that
#   install(TARGETS <target> ... FILE_SET vem_generated)
# installs them beside the target's other headers; the definitions are listed in the target's property
# VEM_DEFINITIONS, for installing them where others import them from.
function(vem_add_module target)
  cmake_parse_arguments(ARG "" "" "DEFINITIONS;IMPORT_PATHS" ${ARGN})
  if(ARG_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "vem_add_module: unexpected arguments: ${ARG_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT ARG_DEFINITIONS)
    message(FATAL_ERROR "vem_add_module(${target}): no DEFINITIONS given")
  endif()
  if(NOT TARGET OrvTypes::vemc)
    message(FATAL_ERROR "vem_add_module: the type compiler OrvTypes::vemc is not known here; "
                        "call find_package(OrvTypes CONFIG REQUIRED) first")
  endif()
  get_target_property(vemc_is_imported OrvTypes::vemc IMPORTED)
  if(vemc_is_imported)
    # A file dependency on the installed program, so that a newer compiler regenerates the code. CMake
    # runs an imported program through no emulator, but a cross build (the 32-bit target on a 64-bit
    # machine) installs a vemc of the target's architecture: run it through the consumer's emulator.
    set(vemc_dependency $<TARGET_FILE:OrvTypes::vemc>)
    set(vemc_command $<TARGET_FILE:OrvTypes::vemc>)
    if(CMAKE_CROSSCOMPILING AND CMAKE_CROSSCOMPILING_EMULATOR)
      set(vemc_command ${CMAKE_CROSSCOMPILING_EMULATOR} ${vemc_command})
    endif()
  else()
    # Our own build: CMake adds the emulator itself when cross-compiling.
    set(vemc_dependency OrvTypes::vemc)
    set(vemc_command OrvTypes::vemc)
  endif()

  set(gen_root ${CMAKE_BINARY_DIR}/gen)
  get_property(package_import_paths GLOBAL PROPERTY VEM_PACKAGE_IMPORT_PATHS)
  set(import_args)
  set(import_deps)
  foreach(dir IN LISTS ARG_IMPORT_PATHS VEM_IMPORT_PATHS package_import_paths)
    list(APPEND import_args -I ${dir})
    file(GLOB_RECURSE found CONFIGURE_DEPENDS ${dir}/*.vem)
    list(APPEND import_deps ${found})
  endforeach()
  foreach(def IN LISTS ARG_DEFINITIONS)
    get_filename_component(def ${def} ABSOLUTE)
    get_filename_component(module ${def} NAME_WE)
    get_filename_component(def_dir ${def} DIRECTORY)
    get_filename_component(folder ${def_dir} NAME)
    set(out_dir ${gen_root}/${folder})
    add_custom_command(
      OUTPUT ${out_dir}/${module}.h ${out_dir}/${module}.cpp
      COMMAND ${vemc_command} ${import_args} -o ${out_dir} ${def}
      DEPENDS ${vemc_dependency} ${def} ${import_deps}
      COMMENT "vemc ${module}.vem"
      VERBATIM)
    target_sources(${target}
      PRIVATE ${out_dir}/${module}.cpp
      PUBLIC FILE_SET vem_generated TYPE HEADERS BASE_DIRS ${gen_root} FILES ${out_dir}/${module}.h)
    if(EXISTS ${def_dir}/${module}Impl.cpp)
      target_sources(${target} PRIVATE ${def_dir}/${module}Impl.cpp)
    endif()
    set_property(TARGET ${target} APPEND PROPERTY VEM_DEFINITIONS ${def})
  endforeach()

  # A program often links a type library only for what loading it does: its modules register. It calls
  # nothing in it, so a linker that drops unneeded libraries (--as-needed, the default of several
  # distributions) would leave the library out and its types would silently be missing. Every target
  # that links a shared type library therefore keeps all its libraries.
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    target_link_options(${target} INTERFACE "LINKER:--no-as-needed")
  endif()
endfunction()

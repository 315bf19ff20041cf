include_guard(GLOBAL)

# vem_add_module(<target> DEFINITIONS <file.vem>... [IMPORT_PATHS <dir>...])
#
# Compiles each definition with vemc into <build>/gen/<folder>/<Module>.h and .cpp (the folder is the one
# the definition sits in, so <Orv/OrvPortVlanPair.h> comes from Orv/OrvPortVlanPair.vem) and adds the
# generated source, and the hand-written <Module>Impl.cpp beside the definition when there is one, to
# <target>. Imports are found beside each definition and in IMPORT_PATHS.
function(vem_add_module target)
  cmake_parse_arguments(ARG "" "" "DEFINITIONS;IMPORT_PATHS" ${ARGN})
  set(gen_root ${CMAKE_BINARY_DIR}/gen)
  set(import_args)
  set(import_deps)
  foreach(dir IN LISTS ARG_IMPORT_PATHS VEM_IMPORT_PATHS)
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
      COMMAND vemc ${import_args} -o ${out_dir} ${def}
      DEPENDS vemc ${def} ${import_deps}
      COMMENT "vemc ${module}.vem"
      VERBATIM)
    target_sources(${target} PRIVATE ${out_dir}/${module}.cpp)
    if(EXISTS ${def_dir}/${module}Impl.cpp)
      target_sources(${target} PRIVATE ${def_dir}/${module}Impl.cpp)
    endif()
  endforeach()
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${gen_root}>)
endfunction()

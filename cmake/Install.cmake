# Install rules: the qx tool, the libraries a C++ caller links (with
# everything they link in turn), the page template, the public headers and a
# package config, so that `find_package(qx CONFIG REQUIRED)` gives qx::export,
# qx::store and qx::stream. `cpack -G DEB` packs the same tree.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(QX_INCLUDE_DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qx)
set(QX_CMAKE_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qx)

# The headers a caller includes; whatever they include from this tree is
# installed with them, so the set stays complete as the headers change.
set(QX_PUBLIC_HEADERS
  export/HtmlExport.h
  export/value_types/Exceptions.h
  store/Cache.h
  store/Model.h
  store/Logger.h
  store/Types.h
  stream/Streamer.h
  stream/StreamState.h
  stream/StreamRequest.h
  stream/StreamCamera.h
  scene/Database.h
  scene/KeyPath.h
  scene/SegmentKey.h
  scene/ShellKey.h
  scene/MatrixKit.h
  scene/MaterialMappingKit.h
  geometry/mesh/MeshData.h)

function(qx_header_closure out)
  set(pending ${ARGN})
  set(done)
  while(pending)
    list(POP_FRONT pending header)
    if(header IN_LIST done OR NOT EXISTS ${PROJECT_SOURCE_DIR}/${header})
      continue()
    endif()
    list(APPEND done ${header})
    file(STRINGS ${PROJECT_SOURCE_DIR}/${header} includes REGEX "^#include \"")
    foreach(line IN LISTS includes)
      string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" included "${line}")
      list(APPEND pending ${included})
    endforeach()
  endwhile()
  set(${out} ${done} PARENT_SCOPE)
endfunction()

qx_header_closure(installed_headers ${QX_PUBLIC_HEADERS})
foreach(header IN LISTS installed_headers)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${QX_INCLUDE_DESTINATION}/${folder} COMPONENT qx)
endforeach()

# Every library of the tree that the export, the store or the stream reaches.
set(QX_EXPORTED_LIBRARIES
  qx_files qx_value_types qx_store qx_geometry_mesh qx_geometry_bounding qx_geometry_image
  qx_geometry_selection qx_scene qx_conversion qx_stream qx_export qx_dep_stb qx_dep_lodepng)
set(exported)
foreach(library IN LISTS QX_EXPORTED_LIBRARIES)
  if(NOT TARGET ${library})
    continue()
  endif()
  list(APPEND exported ${library})
  string(REGEX REPLACE "^qx_" "" export_name ${library})
  set_target_properties(${library} PROPERTIES EXPORT_NAME ${export_name})
  get_target_property(type ${library} TYPE)
  if(NOT type STREQUAL "INTERFACE_LIBRARY")
    target_include_directories(${library} INTERFACE $<INSTALL_INTERFACE:${QX_INCLUDE_DESTINATION}>)
  endif()
endforeach()

install(TARGETS ${exported} EXPORT qxTargets COMPONENT qx
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(EXPORT qxTargets NAMESPACE qx:: DESTINATION ${QX_CMAKE_DESTINATION} COMPONENT qx)

install(TARGETS qx RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT qx)
# The loadable module of the export, for hosts that load it at run time.
install(TARGETS kzv_pinion_html LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/qx COMPONENT qx)
install(FILES viewer/templates/default.html DESTINATION ${CMAKE_INSTALL_DATADIR}/qx COMPONENT qx)

configure_package_config_file(cmake/qxConfig.cmake.in ${PROJECT_BINARY_DIR}/qxConfig.cmake
  INSTALL_DESTINATION ${QX_CMAKE_DESTINATION})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qxConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qxConfig.cmake ${PROJECT_BINARY_DIR}/qxConfigVersion.cmake
  DESTINATION ${QX_CMAKE_DESTINATION} COMPONENT qx)

# A Debian package of the whole install tree; its runtime dependencies come
# from the shared libraries that the installed programs load.
set(CPACK_PACKAGE_NAME qx)
set(CPACK_PACKAGE_CONTACT "qx maintainers <qx@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "3D scenes to self-contained web pages, with the QX model store")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The scene library ships in the package itself.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/scene)
set(CPACK_COMPONENTS_ALL qx)
set(CPACK_DEB_COMPONENT_INSTALL OFF)
include(CPack)

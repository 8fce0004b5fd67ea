# Install rules and the CMake package so that an application can find_package(NorvikCloud).
include(CMakePackageConfigHelpers)

# Applications link Norvik::Cloud (and, if they need them, Norvik::Core, ::Network, ::Streams).
set_target_properties(norvikCore PROPERTIES EXPORT_NAME Core)
set_target_properties(norvikStreams PROPERTIES EXPORT_NAME Streams)
set_target_properties(norvikNetwork PROPERTIES EXPORT_NAME Network)
set_target_properties(norvikCloud PROPERTIES EXPORT_NAME Cloud)
set_target_properties(norvik_compile_options PROPERTIES EXPORT_NAME CompileOptions)

install(TARGETS norvik_compile_options norvikCore norvikStreams norvikNetwork norvikCloud
    EXPORT NorvikCloudTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT NorvikCloudTargets
    NAMESPACE Norvik::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/NorvikCloud)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/NorvikCloudConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/NorvikCloudConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/NorvikCloud)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/NorvikCloudConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/NorvikCloudConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/NorvikCloudConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/NorvikCloud)

# The same for pkg-config: norvikcloud.pc, relocatable like the CMake package.
file(RELATIVE_PATH PC_PREFIX_FROM_PCDIR "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(${CMAKE_CURRENT_LIST_DIR}/norvikcloud.pc.in ${CMAKE_CURRENT_BINARY_DIR}/norvikcloud.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/norvikcloud.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

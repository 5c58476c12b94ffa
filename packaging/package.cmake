# What `cmake --install` puts where, and the Debian package CPack makes of it. The package's
# version is the newest entry of packaging/changelog, which ships as the package's changelog.

set(HOPR_PACKAGING ${CMAKE_CURRENT_LIST_DIR})
file(STRINGS ${HOPR_PACKAGING}/changelog HOPR_CHANGELOG_HEAD LIMIT_COUNT 1)
string(REGEX REPLACE "^hopr \\(([^)]+)\\).*" "\\1" HOPR_VERSION "${HOPR_CHANGELOG_HEAD}")

set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

install(TARGETS hopr RUNTIME DESTINATION bin)
install(FILES ${HOPR_PACKAGING}/registry.reg DESTINATION /etc/hopr)
install(FILES ${HOPR_PACKAGING}/tmpfiles.conf DESTINATION /usr/lib/tmpfiles.d RENAME hopr.conf)
install(FILES ${HOPR_PACKAGING}/copyright DESTINATION share/doc/hopr)

# Debian wants its documents compressed without a time stamp, so the package is reproducible.
function(hopr_gzip source output)
  add_custom_command(OUTPUT ${output}
                     COMMAND sh -c "gzip -9nc \"$1\" > \"$2\"" gzip ${source} ${output}
                     DEPENDS ${source} VERBATIM)
endfunction()

hopr_gzip(${HOPR_PACKAGING}/changelog ${CMAKE_BINARY_DIR}/changelog.gz)
set(HOPR_PACKAGE_DOCUMENTS ${CMAKE_BINARY_DIR}/changelog.gz)
install(FILES ${CMAKE_BINARY_DIR}/changelog.gz DESTINATION share/doc/hopr)

find_program(HOPR_SCDOC scdoc)
if(HOPR_SCDOC)
  foreach(page hopr hopr-table)
    set(roff ${CMAKE_BINARY_DIR}/${page}.1)
    add_custom_command(OUTPUT ${roff}
                       COMMAND sh -c "\"$1\" < \"$2\" > \"$3\"" scdoc ${HOPR_SCDOC}
                               ${HOPR_PACKAGING}/${page}.1.scd ${roff}
                       DEPENDS ${HOPR_PACKAGING}/${page}.1.scd VERBATIM)
    hopr_gzip(${roff} ${roff}.gz)
    list(APPEND HOPR_PACKAGE_DOCUMENTS ${roff}.gz)
    install(FILES ${roff}.gz DESTINATION share/man/man1)
  endforeach()
else()
  message(STATUS "scdoc not found: the manual pages are left out")
endif()
add_custom_target(hopr_documents ALL DEPENDS ${HOPR_PACKAGE_DOCUMENTS})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME hopr)
set(CPACK_PACKAGE_VERSION ${HOPR_VERSION})
set(CPACK_PACKAGE_CONTACT "hopr developers <hopr@example.org>")
# Debian ships stripped programs. (CPack's split debug package is left out: CMake 3.25 writes
# build paths into its md5sums.)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS python3)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"TCP path tracer for monitoring agents
hopr measures the network path to a list of targets with TCP connection
attempts at rising TTL, takes the routers' ICMP time-exceeded answers from
each probe's own socket, without privileges, and reports per-hop loss and
round-trip statistics as JSON.
hopr-table prints such a result as a per-hop table.")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${HOPR_PACKAGING}/conffiles ${HOPR_PACKAGING}/postinst ${HOPR_PACKAGING}/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)

SUMMARY = "Shell for the configuration of a NETCONF device"
DESCRIPTION = "Shows the YANG model of a device as a tree that is walked like a \
file system, collects changes, and sends them as one request."
SECTION = "net"
# No licence has been chosen yet.
LICENSE = "CLOSED"

DEPENDS = "hiredis libxml2"

inherit cmake externalsrc pkgconfig

# The tree in which this layer stands.
EXTERNALSRC = "${@os.path.realpath('${THISDIR}/../../../../..')}"

EXTRA_OECMAKE = "-DVANDEL_TESTS=OFF"

# Without it, the device brings libconf.so and libredisapi.so in ${libdir}/vandel.
PACKAGECONFIG ??= ""
PACKAGECONFIG[host] = "-DVANDEL_HOST=ON,-DVANDEL_HOST=OFF,libyang"

do_install() {
    DESTDIR='${D}' cmake --install ${B} --component shell
    if ${@bb.utils.contains('PACKAGECONFIG', 'host', 'true', 'false', d)}; then
        DESTDIR='${D}' cmake --install ${B} --component host
    fi
}

PACKAGE_BEFORE_PN = "${PN}-host"

COMPLETIONS = "${datadir}/bash-completion/completions"
FILES:${PN} += "${nonarch_libdir}/tmpfiles.d ${COMPLETIONS}/vandel"
FILES:${PN}-host = "${bindir}/schemac ${bindir}/tarnd-gateway ${bindir}/vandel-* \
    ${libdir}/vandel ${libexecdir}/vandel ${nonarch_libdir}/sysusers.d ${nonarch_libdir}/systemd \
    ${datadir}/vandel ${datadir}/ansible \
    ${COMPLETIONS}/schemac ${COMPLETIONS}/tarnd-gateway ${COMPLETIONS}/vandel-*"
# Loaded when it is needed.
RDEPENDS:${PN} = "libxml2"
RDEPENDS:${PN}-host = "python3-core python3-json python3-xml"

# The libraries that the shell is linked against are the device's.
INSANE_SKIP:${PN} = "${@bb.utils.contains('PACKAGECONFIG', 'host', '', 'file-rdeps', d)}"

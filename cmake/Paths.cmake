# Every fixed path of the system is set here and nowhere else. The defaults
# are the production paths. The test, demo, fuzz and benchmark builds set
# ZRUPDATE_SCRATCH to a folder of their own: the paths the program writes to
# (home, work directory, delay-status file, the folder of the log's lock
# files) then lie under it, so nothing is ever written under /opt and test
# runs of several builds never share a lock file in /tmp.
set(ZRUPDATE_SCRATCH "" CACHE PATH "Folder that holds the home, work directory and delay-status file of a test build")
set(ZRUPDATE_HOME "/opt/Orvanta/ZRUpdate" CACHE PATH "Home directory of the updater")
set(ZRUPDATE_WORK_DIR "/tmp/zrupdate" CACHE PATH "Work directory for downloads and unpacking")
set(ZRUPDATE_TMP_DIR "/tmp" CACHE PATH "Temporary directory (log lock files, temporary files)")
set(ZRUPDATE_DELAY_STATUS_FILE "/tmp/delay-packages" CACHE FILEPATH "Scratch file of the delay-package status")
# The system's trusted certificates, which a new home verifies servers with.
set(ZRUPDATE_CA_BUNDLE "/etc/ssl/certs/ca-certificates.crt" CACHE FILEPATH "CA bundle recorded as the server certificate of a new home")
if(ZRUPDATE_SCRATCH)
  set(ZRUPDATE_HOME "${ZRUPDATE_SCRATCH}/home" CACHE PATH "Home directory of the updater" FORCE)
  set(ZRUPDATE_WORK_DIR "${ZRUPDATE_SCRATCH}/work" CACHE PATH "Work directory for downloads and unpacking" FORCE)
  set(ZRUPDATE_DELAY_STATUS_FILE "${ZRUPDATE_SCRATCH}/delay-packages" CACHE FILEPATH "Scratch file of the delay-package status" FORCE)
  set(ZRUPDATE_TMP_DIR "${ZRUPDATE_SCRATCH}/tmp" CACHE PATH "Temporary directory (log lock files, temporary files)" FORCE)
  set(ZRUPDATE_CA_BUNDLE "${ZRUPDATE_SCRATCH}/ca-certificates.crt" CACHE FILEPATH "CA bundle recorded as the server certificate of a new home" FORCE)
  file(MAKE_DIRECTORY "${ZRUPDATE_TMP_DIR}")
endif()
set(ZRUPDATE_UNZIP "/usr/bin/unzip" CACHE FILEPATH "unzip program")
set(ZRUPDATE_PERL "/usr/bin/perl" CACHE FILEPATH "perl interpreter")
set(ZRUPDATE_MV "/bin/mv" CACHE FILEPATH "mv program")
set(ZRUPDATE_MKDIR "/bin/mkdir" CACHE FILEPATH "mkdir program")
set(ZRUPDATE_SHELL "/bin/sh" CACHE FILEPATH "system shell (runs the status script's command)")

# Where zrupdate-init is installed, under the prefix; the package's postinst
# runs it from there.
set(ZRUPDATE_INIT_DIR "libexec/zrupdate")

set(ZRUPDATE_GENERATED_DIR "${CMAKE_BINARY_DIR}/generated")
configure_file("${CMAKE_SOURCE_DIR}/cmake/ZRPaths.h.in" "${ZRUPDATE_GENERATED_DIR}/ZRPaths.h" @ONLY)

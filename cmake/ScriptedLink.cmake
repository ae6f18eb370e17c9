# fennix_script_link(TARGET)
#
# Leads what the program's link calls outside itself to tests/support/scripted_link.cpp: its
# readings of the clock by whichever name, DBG_Printf() and QUdpSocket::writeDatagram().
function(fennix_script_link target)
  target_link_options(${target} PRIVATE
    -Wl,--wrap=gettimeofday,--wrap=__gettimeofday64
    -Wl,--wrap=_Z10DBG_PrintfjPKcz
    -Wl,--wrap=_ZN10QUdpSocket13writeDatagramEPKcxRK12QHostAddresst)
endfunction()

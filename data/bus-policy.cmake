# The bus policy: the users in the roles of host and partner. The default gives both roles to root
# only; a device names the users of its host and its partner.
#
# The build includes this file. As a script it writes the policy into the current folder:
# cmake [-DAPPLIST_BUS_...]... -P data/bus-policy.cmake
set(APPLIST_BUS_HOST_USER root CACHE STRING "The user of hosts")
set(APPLIST_BUS_HOST_GROUP "" CACHE STRING
    "The group of hosts; replaces APPLIST_BUS_HOST_USER")
set(APPLIST_BUS_PARTNER_USER root CACHE STRING "The user of the partner")

set(APPLIST_BUS_POLICY ${CMAKE_CURRENT_BINARY_DIR}/org.morva.JavaMW.conf)

# Sets RESULT to the attribute of a <policy> for the user or group in VARIABLE. The bus would ignore
# the block of a wrong name and only log a line, so a wrong name ends the configuration.
function(applist_bus_identity result kind variable)
    if(NOT ${variable} MATCHES "^[A-Za-z0-9_][A-Za-z0-9_.-]*[$]?$")
        message(FATAL_ERROR "${variable}: '${${variable}}' is not the name of a ${kind}")
    endif()
    set(${result} "${kind}=\"${${variable}}\"" PARENT_SCOPE)
endfunction()

# Appends to APPLIST_BUS_ROLES a block for the roles CLIENT (hosts), SERVICE (the partner) or both.
function(applist_bus_block title identity)
    set(block "\n  <!-- ${title} -->\n  <policy ${identity}>\n")
    foreach(role IN LISTS ARGN)
        foreach(step SYN SYN_ACK ACK)
            string(APPEND block "    <allow own=\"org.morva.JavaMW.Applist_${role}_${step}\"/>\n")
        endforeach()
    endforeach()
    foreach(message method_call:Send signal:SendSignal)
        string(REPLACE ":" ";" message ${message})
        list(GET message 0 type)
        list(GET message 1 member)
        string(APPEND block
            "    <allow send_destination=\"*\" send_type=\"${type}\"\n"
            "           send_path=\"/org/morva/javamw/CommunicationChannel/Applist\"\n"
            "           send_interface=\"org.morva.javamw.DbusCommunication\"\n"
            "           send_member=\"${member}\"/>\n")
    endforeach()
    set(APPLIST_BUS_ROLES "${APPLIST_BUS_ROLES}${block}  </policy>\n" PARENT_SCOPE)
endfunction()

if(APPLIST_BUS_HOST_GROUP STREQUAL "")
    applist_bus_identity(host user APPLIST_BUS_HOST_USER)
else()
    applist_bus_identity(host group APPLIST_BUS_HOST_GROUP)
endif()
applist_bus_identity(partner user APPLIST_BUS_PARTNER_USER)

set(APPLIST_BUS_ROLES "")
if(host STREQUAL partner)
    applist_bus_block("Hosts and the partner" ${host} CLIENT SERVICE)
else()
    applist_bus_block("Hosts" ${host} CLIENT)
    applist_bus_block("The partner" ${partner} SERVICE)
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/org.morva.JavaMW.conf.in ${APPLIST_BUS_POLICY} @ONLY)

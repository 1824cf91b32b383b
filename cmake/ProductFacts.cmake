# Reads product.conf into GAUGELY_PRODUCT_<KEY> variables and generates ProductFacts.h, the one
# header the code takes the product's facts and feed host from, and the app bundle's Info.plist.
#
# The feed host is a build setting rather than a fact of the file: a build without one (the default)
# has its updater switched off. It is checked here so a bad host fails the configure, never the app.

# Included before project(), so the project's version is the product's.
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/../product.conf gaugely_product_lines REGEX "^[A-Za-z]+=")
foreach(line IN LISTS gaugely_product_lines)
    string(REGEX MATCH "^([A-Za-z]+)=(.*)$" _ "${line}")
    string(TOUPPER "${CMAKE_MATCH_1}" key)
    set(GAUGELY_PRODUCT_${key} "${CMAKE_MATCH_2}")
endforeach()
foreach(key NAME VERSION BUILD BUNDLEIDENTIFIER DEVELOPER DESCRIPTION UPDATEPUBLICKEY
            SPARKLEVERSION SPARKLECHECKSUM)
    if(NOT DEFINED GAUGELY_PRODUCT_${key} OR GAUGELY_PRODUCT_${key} STREQUAL "")
        message(FATAL_ERROR "product.conf: ${key} is missing")
    endif()
endforeach()
if(NOT GAUGELY_PRODUCT_SPARKLEVERSION MATCHES "^2\\.[0-9]+\\.[0-9]+$")
    message(FATAL_ERROR "product.conf: sparkleVersion \"${GAUGELY_PRODUCT_SPARKLEVERSION}\" is "
                        "not a stable Sparkle 2 release (2.minor.patch)")
endif()
if(NOT GAUGELY_PRODUCT_SPARKLECHECKSUM MATCHES "^[0-9a-f]+$")
    message(FATAL_ERROR "product.conf: sparkleChecksum is not a lower-case hexadecimal SHA-256")
endif()
string(LENGTH "${GAUGELY_PRODUCT_SPARKLECHECKSUM}" checksum_length)
if(NOT checksum_length EQUAL 64)
    message(FATAL_ERROR "product.conf: sparkleChecksum is not a SHA-256 (64 hexadecimal digits)")
endif()
if(NOT GAUGELY_PRODUCT_VERSION MATCHES "^[0-9]+\\.[0-9]+\\.[0-9]+$")
    message(FATAL_ERROR "product.conf: version \"${GAUGELY_PRODUCT_VERSION}\" is not major.minor.patch")
endif()
if(NOT GAUGELY_PRODUCT_BUILD MATCHES "^[0-9]+$")
    message(FATAL_ERROR "product.conf: build \"${GAUGELY_PRODUCT_BUILD}\" is not a decimal number")
endif()
# 32 bytes in base64: 43 digits and one pad.
if(NOT GAUGELY_PRODUCT_UPDATEPUBLICKEY MATCHES "^[A-Za-z0-9+/]+=$")
    message(FATAL_ERROR "product.conf: updatePublicKey is not base64 text")
endif()
string(LENGTH "${GAUGELY_PRODUCT_UPDATEPUBLICKEY}" key_length)
if(NOT key_length EQUAL 44)
    message(FATAL_ERROR "product.conf: updatePublicKey is not the base64 text of 32 bytes")
endif()

set(GAUGELY_FEED_HOST "" CACHE STRING
    "Host of the signed update feed (empty: this build's updater is switched off)")
if(NOT GAUGELY_FEED_HOST STREQUAL "")
    # A bare DNS name: lower-case labels of letters, digits and inner hyphens, at least two of them,
    # no scheme, port, path or user. Anything else would only fail later, on a user's Mac.
    set(label "[a-z0-9]([a-z0-9-]*[a-z0-9])?")
    string(LENGTH "${GAUGELY_FEED_HOST}" host_length)
    if(NOT GAUGELY_FEED_HOST MATCHES "^${label}(\\.${label})+$" OR host_length GREATER 253)
        message(FATAL_ERROR "GAUGELY_FEED_HOST \"${GAUGELY_FEED_HOST}\" is not a host name "
                            "(lower-case, like updates.example.com, without scheme, port or path)")
    endif()
    string(REPLACE "." ";" host_labels "${GAUGELY_FEED_HOST}")
    foreach(host_label IN LISTS host_labels)
        string(LENGTH "${host_label}" label_length)
        if(label_length GREATER 63)
            message(FATAL_ERROR "GAUGELY_FEED_HOST: the label \"${host_label}\" is over 63 characters")
        endif()
    endforeach()
endif()

set(GAUGELY_GENERATED_DIR ${CMAKE_BINARY_DIR}/generated)
configure_file(${CMAKE_CURRENT_LIST_DIR}/ProductFacts.h.in ${GAUGELY_GENERATED_DIR}/ProductFacts.h
               @ONLY)

# The bundle's Info.plist, on every platform, so the Linux suite checks it too. Text from
# product.conf is escaped for XML. Without a feed host the plist names no feed, and the updater
# reads that as a build whose updates are off.
foreach(key NAME VERSION BUILD BUNDLEIDENTIFIER DEVELOPER DESCRIPTION UPDATEPUBLICKEY)
    set(text "${GAUGELY_PRODUCT_${key}}")
    string(REPLACE "&" "&amp;" text "${text}")
    string(REPLACE "<" "&lt;" text "${text}")
    string(REPLACE ">" "&gt;" text "${text}")
    string(TOLOWER "${key}" lower)
    set(gaugely_plist_${lower} "${text}")
endforeach()
set(gaugely_plist_feed_url "")
if(NOT GAUGELY_FEED_HOST STREQUAL "")
    set(feed "https://${GAUGELY_FEED_HOST}/updates/gaugely/appcast.xml")
    set(gaugely_plist_feed_url "\n\t<key>SUFeedURL</key>\n\t<string>${feed}</string>")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/Info.plist.in ${GAUGELY_GENERATED_DIR}/Info.plist @ONLY)

# After project(): the header as a target the libraries link.
function(gaugely_product_target)
    add_library(gaugely_product INTERFACE)
    target_include_directories(gaugely_product INTERFACE ${GAUGELY_GENERATED_DIR})
    add_library(gaugely::product ALIAS gaugely_product)
endfunction()

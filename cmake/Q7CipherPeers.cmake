# Independent implementations of the cipher that the cross-check tests and the benchmarks
# compare against (scripts/setup installs them). q7_cipher_peers carries the libraries
# found and a Q7_HAVE_<PEER> definition for each; a missing peer only skips its checks.
add_library(q7_cipher_peers INTERFACE)

find_path(Q7_CRYPTOPP_INCLUDE_DIR crypto++/gost.h)
find_library(Q7_CRYPTOPP_LIBRARY NAMES crypto++ cryptopp)
if(Q7_CRYPTOPP_INCLUDE_DIR AND Q7_CRYPTOPP_LIBRARY)
  target_include_directories(q7_cipher_peers INTERFACE ${Q7_CRYPTOPP_INCLUDE_DIR})
  target_link_libraries(q7_cipher_peers INTERFACE ${Q7_CRYPTOPP_LIBRARY})
  target_compile_definitions(q7_cipher_peers INTERFACE Q7_HAVE_CRYPTOPP)
endif()

find_path(Q7_GCRYPT_INCLUDE_DIR gcrypt.h)
find_library(Q7_GCRYPT_LIBRARY gcrypt)
if(Q7_GCRYPT_INCLUDE_DIR AND Q7_GCRYPT_LIBRARY)
  target_include_directories(q7_cipher_peers INTERFACE ${Q7_GCRYPT_INCLUDE_DIR})
  target_link_libraries(q7_cipher_peers INTERFACE ${Q7_GCRYPT_LIBRARY})
  target_compile_definitions(q7_cipher_peers INTERFACE Q7_HAVE_GCRYPT)
endif()

find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(Q7_BOTAN QUIET IMPORTED_TARGET botan-2)
endif()
if(Q7_BOTAN_FOUND)
  target_link_libraries(q7_cipher_peers INTERFACE PkgConfig::Q7_BOTAN)
  target_compile_definitions(q7_cipher_peers INTERFACE Q7_HAVE_BOTAN)
endif()

# The GOST engine is a plug-in that OpenSSL loads at run time; only OpenSSL is linked.
find_package(OpenSSL QUIET COMPONENTS Crypto)
if(OpenSSL_FOUND)
  target_link_libraries(q7_cipher_peers INTERFACE OpenSSL::Crypto)
  target_compile_definitions(q7_cipher_peers INTERFACE Q7_HAVE_OPENSSL)
endif()

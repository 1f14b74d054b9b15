# find_package(VostelMCPKit) reads this. It defines the target Vostel::MCPKit.
include(CMakeFindDependencyMacro)

list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})
find_dependency(utf8proc)
list(POP_FRONT CMAKE_MODULE_PATH)

include(${CMAKE_CURRENT_LIST_DIR}/VostelMCPKitTargets.cmake)

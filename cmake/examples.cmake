# The examples, built against the installed library.
cmake_minimum_required(VERSION 3.25)
project(SorvexExamples LANGUAGES CXX)

set(CMAKE_CXX_STANDARD 17)
find_package(Sorvex REQUIRED)
file(GLOB programs "*.cpp")
foreach(source ${programs})
    cmake_path(GET source STEM name)
    file(GLOB parts "${name}/*.cpp")
    add_executable(${name} ${source} ${parts})
    target_link_libraries(${name} PRIVATE Sorvex::sorvex)
endforeach()
# The inventory looks for its texts beside itself.
configure_file(inventory.msg inventory.msg COPYONLY)

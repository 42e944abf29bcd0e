from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import get


class QxConan(ConanFile):
    name = "qx"
    version = "1.0.0"
    description = ("C++ foundation library: objects and components, strings and encodings, streams, "
                   "locks, logging, network, configuration, numbers")
    # No attribute "license": the source has no file with one.
    topics = ("components", "encodings", "streams", "locks", "logging")
    package_type = "shared-library"
    settings = "os", "arch", "compiler", "build_type"
    options = {
        "modules": [True, False],  # the component modules, among them the codecs of most encodings
        "tls": [True, False],  # the TLS transport, a component module on OpenSSL
        "tools": [True, False],  # the command-line programs
    }
    default_options = {"modules": True, "tls": False, "tools": True}

    def validate(self):
        if self.settings.os != "Linux":
            raise ConanInvalidConfiguration("qx runs on Linux")
        if self.options.tls and not self.options.modules:
            raise ConanInvalidConfiguration("the option tls needs the option modules")
        if self.settings.get_safe("compiler.cppstd"):
            check_min_cppstd(self, 20)

    def requirements(self):
        if self.options.tls:
            self.requires("openssl/[>=3 <4]")

    def layout(self):
        cmake_layout(self)

    def source(self):
        get(self, **self.conan_data["sources"][self.version], strip_root=True)

    def generate(self):
        toolchain = CMakeToolchain(self)
        for option in ("modules", "tools"):
            toolchain.cache_variables[f"QX_BUILD_{option.upper()}"] = bool(self.options.get_safe(option))
        toolchain.cache_variables["QX_BUILD_TESTS"] = False
        toolchain.cache_variables["QX_BUILD_EXAMPLES"] = False
        if self.options.modules:
            toolchain.cache_variables["CMAKE_DISABLE_FIND_PACKAGE_OpenSSL"] = not self.options.tls
        toolchain.generate()
        CMakeDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        # The library brings its own CMake package, which also offers functions and the components
        # tools and modules.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = ["lib/cmake/qx"]
        self.cpp_info.set_property("pkg_config_name", "qx")
        self.cpp_info.libs = ["qx"]

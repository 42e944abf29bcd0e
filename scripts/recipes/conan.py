#!/usr/bin/env python3
"""Plays Conan for a recipe, as far as this one goes: conan.py RECIPE WORK [OPTION=VALUE...]

The names that the recipe imports do what those of Conan 2 are documented to do. The package is
WORK/package.
"""

import hashlib
import pathlib
import shutil
import subprocess
import sys
import tarfile
import types
import urllib.request


class Invalid(Exception):
    pass


class Settings:
    def __init__(self, values):
        self.values = values

    def __getattr__(self, name):
        return self.values[name]

    def get_safe(self, name):
        return self.values.get(name)


class Recipe:
    """The part of ConanFile that recipes inherit."""

    def __init__(self):
        self.required = []
        self.cpp_info = types.SimpleNamespace(properties={})
        self.cpp_info.set_property = self.cpp_info.properties.__setitem__

    def requires(self, reference):
        self.required.append(reference)


class Toolchain:
    def __init__(self, recipe):
        self.recipe, self.cache_variables = recipe, {}

    def generate(self):
        self.recipe.cache_variables = self.cache_variables


class Dependencies:
    def __init__(self, recipe):
        self.recipe = recipe

    def generate(self):
        self.recipe.has_dependencies = True


class CMake:
    def __init__(self, recipe):
        self.recipe = recipe

    def configure(self):
        recipe = self.recipe
        assert recipe.has_dependencies
        values = {name: {True: "ON", False: "OFF"}.get(value, value)
                  for name, value in recipe.cache_variables.items()}
        run("cmake", "-S", recipe.source_folder, "-B", recipe.build_folder, "-G", "Ninja",
            f"-DCMAKE_BUILD_TYPE={recipe.settings.build_type}", "-DCMAKE_INSTALL_LIBDIR=lib",
            f"-DCMAKE_INSTALL_PREFIX={recipe.package_folder}",
            *(f"-D{name}={value}" for name, value in values.items()))

    def build(self):
        run("cmake", "--build", self.recipe.build_folder)

    def install(self):
        run("cmake", "--install", self.recipe.build_folder)


def run(*command):
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, text=True)
    if done.returncode != 0:
        sys.exit(f"{done.stdout}\n{command} failed")


def get(recipe, url, sha256, strip_root):
    assert strip_root
    archive = recipe.source_folder.with_suffix(".archive")
    urllib.request.urlretrieve(url, archive)
    if hashlib.sha256(archive.read_bytes()).hexdigest() != sha256:
        raise ValueError(f"{url} has another sum than the recipe says")
    unpacked = recipe.source_folder.with_suffix(".unpacked")
    with tarfile.open(archive) as file:
        file.extractall(unpacked)
    inside, = unpacked.iterdir()
    inside.rename(recipe.source_folder)


def layout(recipe):
    recipe.build_folder = recipe.source_folder / "build" / recipe.settings.build_type


def check_min_cppstd(recipe, least):
    if int(recipe.settings.values["compiler.cppstd"]) < least:
        raise Invalid(f"C++{least} is needed")


def module(name, **names):
    sys.modules[name] = types.ModuleType(name)
    vars(sys.modules[name]).update(names)


def sources_of(path):
    """The sources of conandata.yml, of whose language it uses the least."""
    sources, version = {}, None
    for line in path.read_text("utf-8").splitlines():
        key, _, value = line.strip().partition(": ")
        if line.startswith("  ") and not value:
            version = key.strip('":')
            sources[version] = {}
        elif line.startswith("    "):
            sources[version][key] = value.strip('"')
    return sources


def make(recipe_class, folder, work, options, **settings):
    recipe = recipe_class()
    recipe.conan_data = {"sources": sources_of(folder / "conandata.yml")}
    recipe.options = types.SimpleNamespace(**{**recipe_class.default_options, **options})
    recipe.options.get_safe = lambda name: getattr(recipe.options, name, None)
    for name, value in vars(recipe.options).items():
        if name != "get_safe" and value not in recipe_class.options[name]:
            raise Invalid(f"the option {name} cannot be {value}")
    recipe.settings = Settings({"os": "Linux", "arch": "x86_64", "build_type": "Release",
                                "compiler.cppstd": "20", **settings})
    recipe.source_folder, recipe.package_folder = work / "source", work / "package"
    return recipe


def refused(recipe):
    try:
        recipe.validate()
    except Invalid:
        return True
    return False


def main():
    folder, work = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    options = {name: value == "True" for name, value in (word.split("=") for word in sys.argv[3:])}
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)

    module("conan", ConanFile=Recipe)
    module("conan.errors", ConanInvalidConfiguration=Invalid)
    module("conan.tools")
    module("conan.tools.build", check_min_cppstd=check_min_cppstd)
    module("conan.tools.cmake", CMake=CMake, CMakeDeps=Dependencies, CMakeToolchain=Toolchain,
           cmake_layout=layout)
    module("conan.tools.files", get=get)
    names = {}
    exec(compile((folder / "conanfile.py").read_text("utf-8"), "conanfile.py", "exec"), names)
    recipe_class, = (value for value in names.values()
                     if isinstance(value, type) and issubclass(value, Recipe) and value is not Recipe)

    assert refused(make(recipe_class, folder, work, {}, os="Windows"))
    assert refused(make(recipe_class, folder, work, {}, **{"compiler.cppstd": "17"}))
    assert refused(make(recipe_class, folder, work, {"modules": False, "tls": True}))

    recipe = make(recipe_class, folder, work, options)
    for step in ("validate", "requirements", "layout", "source", "generate", "build", "package",
                 "package_info"):
        getattr(recipe, step)()
    assert bool(recipe.required) == recipe.options.tls, recipe.required
    for library in recipe.cpp_info.libs:
        assert (work / f"package/lib/lib{library}.so").exists(), library
    for builddir in recipe.cpp_info.builddirs:
        assert (work / "package" / builddir / f"{recipe.name}Config.cmake").exists(), builddir


if __name__ == "__main__":
    sys.exit(main())

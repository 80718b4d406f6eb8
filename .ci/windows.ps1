# What continuous integration would run on Windows, on a clean clone: MSVC builds everything with warnings as errors, all tests
# run, packages are made. It has never been run itself: this project's machines are Linux, and what they can hold of it is in
# CONTRIBUTING.md.
#
# Needs Visual Studio 2022 with the C++ workload, and vcpkg (VCPKG_ROOT).
$ErrorActionPreference = 'Stop'
Set-Location (Split-Path $PSScriptRoot)

function Invoke-Step([string] $Program) {
    Write-Host "== $Program $args"
    & $Program @args
    if ($LASTEXITCODE -ne 0) { throw "$Program ended with $LASTEXITCODE" }
}

$vswhere = Join-Path ${env:ProgramFiles(x86)} 'Microsoft Visual Studio\Installer\vswhere.exe'
$studio = & $vswhere -latest -products * -requires Microsoft.VisualStudio.Component.VC.Tools.x86.x64 -property installationPath
if (-not $studio) { throw 'no Visual Studio with the C++ tools for x64' }
$before = $env:VCPKG_ROOT
Import-Module (Join-Path $studio 'Common7\Tools\Microsoft.VisualStudio.DevShell.dll')
Enter-VsDevShell -VsInstallPath $studio -SkipAutomaticLocation -DevCmdArguments '-arch=x64 -host_arch=x64'
# The shell names Visual Studio's own vcpkg, whose history is too short for pinned versions.
if ($before) { $env:VCPKG_ROOT = $before }
if (-not $env:VCPKG_ROOT) { throw 'VCPKG_ROOT names no vcpkg' }

Invoke-Step cmake --preset msvc-test
Invoke-Step cmake --build --preset msvc-test
# One program at a time can serve the pipe of a machine, and Windows has one where the tests under Wine have one each.
Invoke-Step ctest --preset msvc-test --parallel 1
foreach ($package in 'library', 'simulated', 'symbols') {
    Invoke-Step cpack --config "build/msvc-test/CPack-$package.cmake" -C Release
}

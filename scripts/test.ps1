<#
.SYNOPSIS
Builds VELAutil with Visual Studio, asks this Windows what the program takes for granted of it, and runs the tests.

.DESCRIPTION
The tests install and remove the product, register COM modules, write below HKEY_LOCAL_MACHINE and HKEY_USERS, set files up
for the next restart and end processes of mail clients, all on this very machine. Use a virtual machine that goes back to a
snapshot afterwards, and an elevated PowerShell. Without -SpoilThisMachine nothing is built and nothing runs.

Many tests describe the Windows that Wine plays (one user, files without access lists, a Windows version that can be
chosen): some fail on a real Windows for that reason alone. The answers of this Windows (docs/windows-facts.md) come first,
are kept in build\<preset>\facts.txt, and stop nothing. Nobody has run this script yet.

Needs Visual Studio 2022 with "Desktop development with C++" and "C++ ATL", CMake 3.25 or later with Ninja, Python 3.11,
and vcpkg with VCPKG_ROOT set. Exits with 0 if every fact and every test is as it should be, else with 1.

.EXAMPLE
.\scripts\test.ps1 -SpoilThisMachine -Tests 'unit\.settings'
#>
[CmdletBinding()]
param(
    # Yes, the tests may spoil this machine.
    [switch]$SpoilThisMachine,
    # A regular expression: only tests of such a name.
    [string]$Tests = '.',
    # Names a preset of CMakePresets.json: msvc or msys2.
    [ValidateSet('msvc', 'msys2')]
    [string]$Preset = 'msvc',
    # One step alone; the facts and the tests need the build.
    [ValidateSet('all', 'build', 'facts', 'tests')]
    [string]$Step = 'all'
)
Set-StrictMode -Version 2
$ErrorActionPreference = 'Stop'

function Stop-WithMessage([string]$Text) {
    [Console]::Error.WriteLine("test.ps1: $Text")
    exit 1
}

# Runs a program and ends the script where it fails.
function Invoke-Program([string]$Program, [string[]]$Arguments) {
    Write-Host "==== $Program $($Arguments -join ' ')"
    & $Program @Arguments
    if ($LASTEXITCODE -ne 0) {
        Stop-WithMessage "$Program ended with $LASTEXITCODE"
    }
}

# The environment of the x64 compiler, where this is not a developer prompt already.
function Enter-CompilerEnvironment {
    if (Get-Command cl.exe -ErrorAction SilentlyContinue) {
        return
    }
    $where = Join-Path ${env:ProgramFiles(x86)} 'Microsoft Visual Studio\Installer\vswhere.exe'
    if (-not (Test-Path -LiteralPath $where)) {
        Stop-WithMessage 'there is no Visual Studio (vswhere.exe is missing)'
    }
    $place = & $where -latest -products '*' -requires Microsoft.VisualStudio.Component.VC.ATL -property installationPath
    if (-not $place) {
        Stop-WithMessage 'no Visual Studio has the component "C++ ATL"'
    }
    # The batch file sets variables of its own interpreter, which tells them.
    $batch = Join-Path $place 'VC\Auxiliary\Build\vcvars64.bat'
    foreach ($line in (cmd.exe /d /s /c "`"$batch`" >nul && set")) {
        $name, $value = $line -split '=', 2
        if ($name) {
            [Environment]::SetEnvironmentVariable($name, $value, 'Process')
        }
    }
    if (-not (Get-Command cl.exe -ErrorAction SilentlyContinue)) {
        Stop-WithMessage "$batch did not bring the compiler"
    }
}

if (-not $SpoilThisMachine) {
    Stop-WithMessage ('the tests install, register and delete on this very machine. In a virtual machine that may be ' +
        'thrown away, start it again with -SpoilThisMachine.')
}
$identity = New-Object Security.Principal.WindowsPrincipal([Security.Principal.WindowsIdentity]::GetCurrent())
if (-not $identity.IsInRole([Security.Principal.WindowsBuiltInRole]::Administrator)) {
    Stop-WithMessage 'the tests need an elevated PowerShell'
}
if ($Preset -eq 'msvc') {
    if (-not $env:VCPKG_ROOT) {
        Stop-WithMessage 'VCPKG_ROOT is not set'
    }
    $vcpkg = $env:VCPKG_ROOT
    Enter-CompilerEnvironment
    $env:VCPKG_ROOT = $vcpkg  # Visual Studio's environment may name a vcpkg of its own
}

Write-Warning 'From here on this machine is changed. Go back to the snapshot afterwards.'
$env:VELA_TEST_ON_WINDOWS = '1'
Push-Location (Join-Path $PSScriptRoot '..')
try {
    $failed = @()
    if ($Step -in 'all', 'build') {
        Invoke-Program 'cmake' @('--preset', $Preset, '-DBUILD_TESTING=ON')
        Invoke-Program 'cmake' @('--build', '--preset', $Preset)
    }
    if ($Step -in 'all', 'facts') {
        Write-Host '==== facts'
        & "build\$Preset\tests\facts.exe" --record "build\$Preset\facts.txt"
        if ($LASTEXITCODE -ne 0) {
            $failed += 'facts'
        }
    }
    if ($Step -in 'all', 'tests') {
        # One at a time: here the tests share one machine.
        Write-Host "==== ctest -R $Tests"
        & ctest --preset $Preset -j 1 -R $Tests --no-tests=error
        if ($LASTEXITCODE -ne 0) {
            $failed += 'tests'
        }
    }
    if ($failed.Count -ne 0) {
        Stop-WithMessage "failed: $($failed -join ', ')"
    }
} finally {
    Remove-Item Env:\VELA_TEST_ON_WINDOWS
    Pop-Location
}
Write-Host 'PASSED'

<#
.SYNOPSIS
Builds VELAutil with Visual Studio on Windows, checks the facts of docs/windows-facts.md, and runs the tests.

.DESCRIPTION
The tests install and remove the product, register COM modules, write below HKEY_LOCAL_MACHINE and HKEY_USERS, schedule
file operations for the next restart and end mail clients, all on this machine. Use a virtual machine that you can reset,
and an elevated PowerShell. Without -SpoilThisMachine the script does nothing.

Many tests describe the Windows that Wine plays (one user, no access lists on files, a selectable Windows version), so
some fail on a real Windows. The facts are written to build\<preset>\facts.txt. Nobody has run this script yet.

Needs Visual Studio 2022 with "Desktop development with C++" and "C++ ATL", CMake 3.25 or later with Ninja, Python 3.11,
and vcpkg with VCPKG_ROOT set. Exits with 0 if all facts and tests are as expected, else with 1.

.EXAMPLE
.\scripts\test.ps1 -SpoilThisMachine -Tests 'unit\.settings'
#>
[CmdletBinding()]
param(
    [switch]$SpoilThisMachine,
    # Only tests whose names match this regular expression.
    [string]$Tests = '.',
    [ValidateSet('msvc', 'msys2')]
    [string]$Preset = 'msvc',
    # One step alone. The facts and the tests need the build.
    [ValidateSet('all', 'build', 'facts', 'tests')]
    [string]$Step = 'all'
)
Set-StrictMode -Version 2
$ErrorActionPreference = 'Stop'
$script:failed = @()

function Stop-WithMessage([string]$Text) {
    [Console]::Error.WriteLine("test.ps1: $Text")
    exit 1
}

function Invoke-Step([string]$Name, [scriptblock]$Command) {
    Write-Host "==== $Name"
    & $Command
    if ($LASTEXITCODE -ne 0) {
        $script:failed += "$Name (exit code $LASTEXITCODE)"
    }
}

# The environment of the x64 compiler, unless this is a developer prompt.
function Enter-CompilerEnvironment {
    if (Get-Command cl.exe -ErrorAction SilentlyContinue) {
        return
    }
    $where = Join-Path ${env:ProgramFiles(x86)} 'Microsoft Visual Studio\Installer\vswhere.exe'
    $place = & $where -latest -products '*' -requires Microsoft.VisualStudio.Component.VC.ATL -property installationPath
    if (-not $place) {
        Stop-WithMessage 'no Visual Studio has the component "C++ ATL"'
    }
    $vcpkg = $env:VCPKG_ROOT  # Visual Studio's environment may name another one
    Import-Module (Join-Path $place 'Common7\Tools\Microsoft.VisualStudio.DevShell.dll')
    Enter-VsDevShell -VsInstallPath $place -SkipAutomaticLocation -DevCmdArguments '-arch=x64 -host_arch=x64' | Out-Null
    $env:VCPKG_ROOT = $vcpkg
}

if (-not $SpoilThisMachine) {
    Stop-WithMessage 'the tests change this machine: use a virtual machine, and start this script with -SpoilThisMachine'
}
$identity = New-Object Security.Principal.WindowsPrincipal([Security.Principal.WindowsIdentity]::GetCurrent())
if (-not $identity.IsInRole([Security.Principal.WindowsBuiltInRole]::Administrator)) {
    Stop-WithMessage 'the tests need an elevated PowerShell'
}
if ($Preset -eq 'msvc') {
    if (-not $env:VCPKG_ROOT) {
        Stop-WithMessage 'VCPKG_ROOT is not set'
    }
    Enter-CompilerEnvironment
}
$env:VELA_TEST_ON_WINDOWS = '1'
Push-Location (Join-Path $PSScriptRoot '..')
try {
    if ($Step -in 'all', 'build') {
        Invoke-Step 'configure' { cmake --preset $Preset -DBUILD_TESTING=ON }
        Invoke-Step 'build' { cmake --build --preset $Preset }
    }
    if (($Step -in 'all', 'facts') -and -not $failed) {
        Invoke-Step 'facts' { & "build\$Preset\tests\facts.exe" --record "build\$Preset\facts.txt" }
    }
    if (($Step -in 'all', 'tests') -and "$failed" -notmatch 'configure|build') {
        # One at a time: here the tests share one machine.
        Invoke-Step 'tests' { ctest --preset $Preset -j 1 -R $Tests --no-tests=error }
    }
} finally {
    Remove-Item Env:\VELA_TEST_ON_WINDOWS
    Pop-Location
}
if ($failed) {
    Stop-WithMessage "failed: $($failed -join ', ')"
}
Write-Host 'PASSED'

<#
.SYNOPSIS
Installs KivProtocolManager from the folder of this script, or upgrades it in place.

.DESCRIPTION
Copies the programs, registers the service (delayed automatic start, restart after a failure) and starts it. An
installation that is there already is stopped first and started again; its settings stay as they are. Run as an
administrator.

.PARAMETER Destination
The folder to install into.

.PARAMETER NoStart
Registers the service without starting it.
#>
[CmdletBinding()]
param(
    [string]$Destination = (Join-Path $(if ($env:ProgramW6432) { $env:ProgramW6432 } else { $env:ProgramFiles }) 'KivProtocolManager'),
    [switch]$NoStart
)

$ErrorActionPreference = 'Stop'
$programs = 'KivProtocolManager.exe', 'KivProtocol.exe', 'kivctl.exe'
$kivctl = Join-Path $Destination 'kivctl.exe'

function Invoke-Kivctl {
    & $kivctl @args
    if ($LASTEXITCODE -ne 0) { throw "kivctl $args failed with exit code $LASTEXITCODE" }
}

$missing = $programs | Where-Object { -not (Test-Path -LiteralPath (Join-Path $PSScriptRoot $_)) }
if ($missing) { throw "Not beside this script: $($missing -join ', ')" }

# What runs lets go of its files before they are replaced.
$upgrade = Test-Path -LiteralPath $kivctl
if ($upgrade) { Invoke-Kivctl service stop }
try {
    New-Item -ItemType Directory -Force -Path $Destination | Out-Null
    foreach ($program in $programs) {
        # A program that runs all the same (kivctl watch, say) can be renamed, but not replaced.
        $target = Join-Path $Destination $program
        Remove-Item -Force -ErrorAction SilentlyContinue -LiteralPath "$target.old"
        if (Test-Path -LiteralPath $target) { Move-Item -Force -LiteralPath $target -Destination "$target.old" }
        Copy-Item -Force -LiteralPath (Join-Path $PSScriptRoot $program) -Destination $target
    }
    Invoke-Kivctl service install
} catch {
    # What was there before goes on running.
    foreach ($program in $programs) {
        $target = Join-Path $Destination $program
        if (Test-Path -LiteralPath "$target.old") {
            Move-Item -Force -ErrorAction SilentlyContinue -LiteralPath "$target.old" -Destination $target
        }
    }
    if ($upgrade -and -not $NoStart) { & $kivctl service start }
    throw
}
if (-not $NoStart) { Invoke-Kivctl service start }
foreach ($program in $programs) {
    Remove-Item -Force -ErrorAction SilentlyContinue -LiteralPath "$(Join-Path $Destination $program).old"
}
Write-Host "KivProtocolManager is installed in $Destination"

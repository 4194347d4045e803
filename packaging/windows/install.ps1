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
    [string]$Destination = (Join-Path $env:ProgramFiles 'KivProtocolManager'),
    [switch]$NoStart
)

$ErrorActionPreference = 'Stop'
$programs = 'KivProtocolManager.exe', 'KivProtocol.exe', 'kivctl.exe'
$kivctl = Join-Path $Destination 'kivctl.exe'

function Invoke-Kivctl {
    & $kivctl @args
    if ($LASTEXITCODE -ne 0) { throw "kivctl $args failed with exit code $LASTEXITCODE" }
}

$missing = $programs | Where-Object { -not (Test-Path (Join-Path $PSScriptRoot $_)) }
if ($missing) { throw "Not beside this script: $($missing -join ', ')" }

# What runs lets go of its files before they are replaced.
if (Test-Path $kivctl) { Invoke-Kivctl service stop }
New-Item -ItemType Directory -Force $Destination | Out-Null
foreach ($program in $programs) {
    Copy-Item -Force (Join-Path $PSScriptRoot $program) $Destination
}
Invoke-Kivctl service install
if (-not $NoStart) { Invoke-Kivctl service start }
Write-Host "KivProtocolManager is installed in $Destination"

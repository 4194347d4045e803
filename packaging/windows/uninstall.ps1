<#
.SYNOPSIS
Removes KivProtocolManager: its service and its programs.

.DESCRIPTION
The settings stay in the registry unless -RemoveSettings is given, so that a later installation finds its instances
again. Run as an administrator.

.PARAMETER Destination
The folder it is installed in.

.PARAMETER RemoveSettings
Also deletes every instance and setting. There is no way back; "kivctl db export FILE" makes a copy.
#>
[CmdletBinding()]
param(
    [string]$Destination = (Join-Path $env:ProgramFiles 'KivProtocolManager'),
    [switch]$RemoveSettings
)

$ErrorActionPreference = 'Stop'
$settings = 'HKLM:\SOFTWARE\Quenlar\Torvik\Runtime\Settings\vexa'
$kivctl = Join-Path $Destination 'kivctl.exe'

if (Test-Path $kivctl) {
    & $kivctl service uninstall
    if ($LASTEXITCODE -ne 0) { throw "kivctl service uninstall failed with exit code $LASTEXITCODE" }
}
foreach ($program in 'KivProtocolManager.exe', 'KivProtocol.exe', 'kivctl.exe') {
    Remove-Item -Force -ErrorAction SilentlyContinue (Join-Path $Destination $program)
}
if ((Test-Path $Destination) -and -not (Get-ChildItem $Destination)) { Remove-Item $Destination }
if ($RemoveSettings -and (Test-Path $settings)) { Remove-Item -Recurse -Force $settings }
Write-Host 'KivProtocolManager is removed'

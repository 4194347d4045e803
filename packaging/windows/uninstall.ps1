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
    [string]$Destination = (Join-Path $(if ($env:ProgramW6432) { $env:ProgramW6432 } else { $env:ProgramFiles }) 'KivProtocolManager'),
    [switch]$RemoveSettings
)

$ErrorActionPreference = 'Stop'
$settings = 'SOFTWARE\Quenlar\Torvik\Runtime\Settings\vexa'
$programs = 'KivProtocolManager.exe', 'KivProtocol.exe', 'kivctl.exe'
$kivctl = Join-Path $Destination 'kivctl.exe'

if (Test-Path -LiteralPath $kivctl) {
    & $kivctl service uninstall
    if ($LASTEXITCODE -ne 0) { throw "kivctl service uninstall failed with exit code $LASTEXITCODE" }
}
foreach ($program in $programs) {
    $target = Join-Path $Destination $program
    Remove-Item -Force -ErrorAction SilentlyContinue -LiteralPath $target, "$target.old"
    if (Test-Path -LiteralPath $target) { Write-Warning "$target is in use and stays" }
}
if ((Test-Path -LiteralPath $Destination) -and -not (Get-ChildItem -LiteralPath $Destination)) {
    Remove-Item -LiteralPath $Destination
}
if ($RemoveSettings) {
    # In the 64-bit view, whichever shell runs this.
    $machine = [Microsoft.Win32.RegistryKey]::OpenBaseKey('LocalMachine', 'Registry64')
    $machine.DeleteSubKeyTree($settings, $false)
}
Write-Host 'KivProtocolManager is removed'

<#
.SYNOPSIS
Tries the program on this Windows machine: shows its usage, installs its tasks, runs it, removes the tasks.

.DESCRIPTION
Needs an elevated PowerShell and a machine on which the suite is not installed. Ends with an error at the
first thing that is not as it must be. Whatever happens, it takes back what it changed: the channel's
settings, the tasks, the program's values, log and files. Empty keys above a user's property bag stay.

.EXAMPLE
powershell -ExecutionPolicy Bypass -File tools\try-on-windows.ps1 -Program build\windows\PalvoPrinterConfiguration.exe
#>
#Requires -Version 5.1
#Requires -RunAsAdministrator
param(
    [Parameter(Mandatory)] [string] $Program,
    # Where the outputs, the tasks and the log are kept.
    [string] $Outputs = 'tried-on-windows'
)
Set-StrictMode -Version Latest
$ErrorActionPreference = 'Stop'
# An exit code other than 0 is no error here, in a PowerShell that could take it for one.
$PSNativeCommandUseErrorActionPreference = $false

$channelName = 'Microsoft-Windows-PrintService/Operational'
$taskNames = 'Palvo PalvoOrvela Printer Configuration - New or Changed',
    'Palvo PalvoOrvela Printer Configuration - User Logon',
    'Palvo PalvoOrvela Printer Configuration - Periodic Refresh'
$settings = 'HKLM:\SOFTWARE\Palvo'
$data = Join-Path $env:ProgramData 'Palvo'
$log = Join-Path $data 'PrinterDriver\V6.0\PalvoPrinterConfiguration\PalvoOrvela\PalvoPrinterConfiguration.log'
# Standard users may not write here, and the path holds a blank as that of an installation does.
$folder = Join-Path $env:ProgramFiles 'Palvo Trial'
$installed = Join-Path $folder 'PalvoPrinterConfiguration.exe'

function Assert-That([bool] $Holds, [string] $Statement) {
    if (-not $Holds) { throw "It does not hold: $Statement" }
    Write-Host "  holds: $Statement"
}

function Get-Task { Get-ScheduledTask | Where-Object { $taskNames -contains $_.TaskName } }

function Get-PropertyBag {
    $bag = 'SOFTWARE\Classes\Local Settings\Printers\PropertyBags\Manufacturers\Palvo'
    Get-ChildItem Registry::HKEY_USERS | ForEach-Object { "Registry::$($_.Name)\$bag" } |
        Where-Object { Test-Path $_ }
}

# Runs the program and gives its standard output; $script:code is its exit code. Beside a run of one of the
# tasks -c ends with 1: it is tried again.
function Invoke-Program([string] $Name, [string[]] $Arguments, [int] $Expected) {
    foreach ($attempt in 1..3) {
        $text = & $installed @Arguments | Out-String
        $script:code = $LASTEXITCODE
        "$Arguments ended with $code`r`n$text" | Add-Content (Join-Path $Outputs "$Name.txt")
        Write-Host "$Arguments ended with $code"
        if ($code -eq $Expected -or $Arguments[0] -ne '-c') { break }
        Start-Sleep -Seconds 20
    }
    Assert-That ($code -eq $Expected) "$Arguments ends with $Expected"
    $text
}

function Test-Program {
    Assert-That ((Invoke-Program 'usage' '-?' 1) -match 'PalvoPrinterConfiguration') '-? shows the usage text'

    $text = Invoke-Program 'install' '-IT' 0
    Assert-That ([regex]::Matches($text, 'Task successfully registered\.').Count -eq 3) '-IT says so three times'
    $tasks = @(Get-Task)
    foreach ($task in $tasks) {
        Export-ScheduledTask $task.TaskName | Set-Content (Join-Path $Outputs "$($task.TaskName).xml")
    }
    Assert-That ($tasks.Count -eq 3) 'three tasks are registered'
    foreach ($task in $tasks) {
        Assert-That ($task.Principal.UserId -eq 'SYSTEM') "it runs as SYSTEM: $($task.TaskName)"
        Assert-That ($task.Actions[0].Execute.Trim('"') -eq $installed) "it starts this program: $($task.TaskName)"
    }
    $channel = Get-WinEvent -ListLog $channelName
    $channel | Format-List * | Out-File (Join-Path $Outputs 'channel.txt')
    Assert-That $channel.IsEnabled 'the channel is on'
    Assert-That ($channel.LogMode -eq 'Circular') 'its oldest events are overwritten'
    Assert-That ($channel.MaximumSizeInBytes -eq 1052672) 'it has 1052672 bytes'

    $null = Invoke-Program 'configure' '-c' 0
    $null = Invoke-Program 'new-or-changed' ('-c', '-i', 'NewOrChangedTask') 0
    Assert-That (Test-Path $log) 'there is a log'

    $null = Invoke-Program 'uninstall' '-UT' 0
    Assert-That (@(Get-Task).Count -eq 0) 'no task is left'
    Assert-That (-not (Get-WinEvent -ListLog $channelName).IsEnabled) 'the channel is off'
}

function Restore-Machine {
    Get-Task | Unregister-ScheduledTask -Confirm:$false
    Get-Process -Name 'PalvoPrinter*' | Wait-Process -Timeout 60 -ErrorAction Continue
    $channel = Get-WinEvent -ListLog $channelName
    $channel.IsEnabled = $before.IsEnabled
    $channel.LogMode = $before.LogMode
    $channel.MaximumSizeInBytes = $before.MaximumSizeInBytes
    $channel.SaveChanges()
    Get-PropertyBag | Where-Object { $bagsBefore -notcontains $_ } | Remove-Item -Recurse
    if (Test-Path $log) { Copy-Item $log $Outputs }
    $settings, $data, $folder | Where-Object { Test-Path $_ } | Remove-Item -Recurse -Force
}

$null = New-Item -ItemType Directory -Force $Outputs
foreach ($place in $settings, $data, $folder) {
    if (Test-Path $place) { throw "The suite is installed here, or an earlier trial was not undone: $place" }
}
$before = Get-WinEvent -ListLog $channelName | Select-Object * # as they are now
$bagsBefore = @(Get-PropertyBag)
try {
    $null = New-Item -ItemType Directory $folder
    Copy-Item $Program $installed
    foreach ($sibling in 'PalvoPrinterQuery.exe', 'PalvoPrinterConfigurationWriter.exe') {
        # A harmless program in the sibling's place: with an argument it only complains.
        Copy-Item (Join-Path $env:SystemRoot 'System32\hostname.exe') (Join-Path $folder $sibling)
    }
    foreach ($dll in 'wevtapi.dll', 'wtsapi32.dll') {
        # A harmless DLL under the name of one that the program loads late, and without its functions: a
        # program that took wevtapi.dll from its own folder could not set the channel up.
        Copy-Item (Join-Path $env:SystemRoot 'System32\version.dll') (Join-Path $folder $dll)
    }
    Test-Program
} finally {
    Restore-Machine
}
Write-Host 'All of it holds.'

# Proves on a real Windows machine what Wine cannot: run it once as administrator, in the folder of drivetest.exe, with
#   powershell -ExecutionPolicy Bypass -File prove-windows.ps1
# It takes about ten minutes and touches no drive of the machine: it makes two virtual disks of 64 MiB in a folder of its
# own, and removes them again. Each line says what was tried, "ok" or "FAILED", and what was seen. Exit status 0: all is ok.
$ErrorActionPreference = 'Stop'
$program = Join-Path $PSScriptRoot 'drivetest.exe'
$folder = Join-Path $env:TEMP ("drivetest-proof-" + [guid]::NewGuid().ToString('N'))
$failures = 0

function Check($what, $isRight, $seen) {
    if (-not $isRight) { $script:failures++ }
    '{0,-7} {1}{2}' -f $(if ($isRight) { 'ok' } else { 'FAILED' }), $what, $(if ($isRight) { '' } else { ": $seen" })
}

# Runs the program; gives its exit status and all that it said.
function Run {
    $said = & $program @args 2>&1 | Out-String
    [pscustomobject]@{ Status = $LASTEXITCODE; Said = $said }
}

function DiskPart($lines) {
    $script = Join-Path $folder 'diskpart.txt'
    $lines | Set-Content -Encoding ascii $script
    $said = diskpart /s $script | Out-String
    if ($LASTEXITCODE -ne 0) { throw "diskpart failed: $said" }
}

# A virtual disk, attached; gives its number.
function Add-VirtualDisk($name) {
    $file = Join-Path $folder "$name.vhd"
    DiskPart "create vdisk file=""$file"" maximum=64 type=fixed", "select vdisk file=""$file""", 'attach vdisk'
    $number = (Get-DiskImage -ImagePath $file | Get-Disk).Number
    Set-Disk -Number $number -IsOffline $false
    Set-Disk -Number $number -IsReadOnly $false
    $number
}

function Remove-VirtualDisk($name) {
    $file = Join-Path $folder "$name.vhd"
    if (Test-Path $file) { DiskPart "select vdisk file=""$file""", 'detach vdisk' }
}

function Open-Disk($number, $access) {
    New-Object IO.FileStream("\\.\PhysicalDrive$number", 'Open', $access, 'ReadWrite', 1MB)
}

function Get-Sum($number) {
    $disk = Open-Disk $number 'Read'
    try { (Get-FileHash -InputStream $disk -Algorithm SHA256).Hash } finally { $disk.Dispose() }
}

# The disk of drives without a volume: nobody but us writes to it.
function Test-RawDisk($number) {
    $drive = "\\.\PhysicalDrive$number"
    $random = New-Object byte[] 1MB
    $disk = Open-Disk $number 'ReadWrite'
    foreach ($i in 1..63) {
        (New-Object Random($i)).NextBytes($random)
        $random[510] = 0; $random[511] = 0 # no partition table
        $disk.Write($random, 0, $random.Length)
    }
    $disk.Dispose()
    $before = Get-Sum $number
    $listed = (& $program devices --json | ConvertFrom-Json) | Where-Object locator -eq $drive
    Check 'the inventory lists the virtual disk with its size' ($listed.bytes -ge 64MB) ($listed | Out-String)
    $confirm = $listed.confirm
    $run = Run run LinearReadTest $drive --no-record
    Check 'a read test passes' ($run.Status -eq 0) $run.Said
    $run = Run run LinearPatternTest $drive --no-record
    Check 'a test that writes is refused without confirmation' ($run.Status -eq 2) $run.Said
    foreach ($test in 'LinearPatternTest', 'CacheTest', 'ReadWriteSpeedTest') {
        $run = Run run $test $drive --confirm $confirm --no-record
        Check "$test passes" ($run.Status -eq 0) $run.Said
        Check "$test leaves every byte as it was" ((Get-Sum $number) -eq $before) 'the contents have changed'
    }
    $killed = 0
    foreach ($i in 1..20) {
        $words = 'run', 'LinearPatternTest', $drive, '--confirm', """$confirm""", '--no-record'
        $process = Start-Process $program $words -PassThru -WindowStyle Hidden
        Start-Sleep -Milliseconds (Get-Random -Minimum 100 -Maximum 3000)
        if (-not $process.HasExited) { $process.Kill(); $killed++ }
        $process.WaitForExit()
        $run = Run recover
        Check "killed for the $i. time: recover succeeds" ($run.Status -eq 0) $run.Said
        Check "killed for the $i. time: every byte is as it was" ((Get-Sum $number) -eq $before) 'the contents have changed'
    }
    Check 'at least ten runs were killed in their midst' ($killed -ge 10) "$killed"
}

# A disk with a mounted volume.
function Test-Volume($number) {
    $drive = "\\.\PhysicalDrive$number"
    Initialize-Disk -Number $number -PartitionStyle MBR
    $letter = (New-Partition -DiskNumber $number -UseMaximumSize -AssignDriveLetter).DriveLetter
    Format-Volume -DriveLetter $letter -FileSystem NTFS -NewFileSystemLabel 'proof' -Confirm:$false | Out-Null
    $confirm = ((& $program devices --json | ConvertFrom-Json) | Where-Object locator -eq $drive).confirm
    $file = [IO.File]::Open("${letter}:\open.txt", 'Create')
    $run = Run run LinearPatternTest $drive --confirm $confirm --no-record
    Check 'a volume with an open file is not taken' ($run.Status -eq 5 -and $run.Said -match "${letter}:") $run.Said
    $file.WriteByte(7)
    $file.Dispose()
    $run = Run run LinearPatternTest $drive --confirm $confirm --no-record
    Check 'a volume that nobody uses is locked, tested and given back' ($run.Status -eq 0) $run.Said
    Check 'its file is there again' ((Get-Item "${letter}:\open.txt").Length -eq 1) 'it is not'
}

function Test-System {
    $number = (Get-Partition -DriveLetter $env:SystemDrive[0]).DiskNumber
    $run = Run run LinearPatternTest "\\.\PhysicalDrive$number" --no-record
    Check 'the drive that holds Windows is refused' ($run.Status -notin 0, 1, 2) $run.Said
}

$who = New-Object Security.Principal.WindowsPrincipal([Security.Principal.WindowsIdentity]::GetCurrent())
if (-not $who.IsInRole([Security.Principal.WindowsBuiltInRole]::Administrator)) {
    Write-Error 'this needs an administrator: open the shell with "Run as administrator", then try again'
}
New-Item -ItemType Directory $folder | Out-Null
try {
    Test-RawDisk (Add-VirtualDisk 'raw')
    Test-Volume (Add-VirtualDisk 'volume')
    Test-System
} finally {
    Remove-VirtualDisk 'raw'
    Remove-VirtualDisk 'volume'
    Remove-Item -Recurse -Force $folder
}
if ($failures -gt 0) { "$failures checks failed: please report the lines above" } else { 'all is ok' }
exit [int]($failures -gt 0)

# Proves on a real Windows machine what Wine cannot: run it once as administrator, in the folder of drivetest.exe, with
#   powershell -ExecutionPolicy Bypass -File prove-windows.ps1
# It takes less than ten minutes and writes to no drive of the machine but two virtual disks of 64 MiB, which it makes in a
# folder of its own and removes again. Each line says what was tried, "ok" or "FAILED", and then what was seen. Exit status 0:
# all is ok.
#Requires -Version 5
$ErrorActionPreference = 'Stop'
$program = Join-Path $PSScriptRoot 'drivetest.exe'
# Where letters beyond ASCII in the name of a user play no part: diskpart reads no such paths.
$folder = Join-Path $env:ProgramData ('DriveTest-proof-' + [guid]::NewGuid().ToString('N'))
$megabytes = 64
$failures = 0
# Its own register and journals: whatever a test on this machine left open is not touched.
$env:DRIVETEST_STATE = Join-Path $folder 'state'
$journals = Join-Path $env:DRIVETEST_STATE 'journal'

Add-Type -Namespace Proof -Name Files -MemberDefinition @'
[DllImport("kernel32.dll", CharSet = CharSet.Unicode, SetLastError = true)]
public static extern Microsoft.Win32.SafeHandles.SafeFileHandle CreateFile(string name, uint access, uint share,
    System.IntPtr security, uint disposition, uint flags, System.IntPtr template);
'@

function Check($what, $isRight, $seen) {
    if (-not $isRight) { $script:failures++ }
    '{0,-7} {1}{2}' -f $(if ($isRight) { 'ok' } else { 'FAILED' }), $what, $(if ($isRight) { '' } else { ": $seen" })
}

# One group of checks: what keeps it from its end is a failure, and keeps no other from being tried.
function Try-Group($what, [scriptblock]$group) {
    try { & $group } catch { Check "$what came to its end" $false $_ }
}

# Runs the program; gives its exit status and all that it said. What a program says to its error stream is no error here.
function Run {
    $ErrorActionPreference = 'Continue'
    $said = & $program @args 2>&1 | ForEach-Object { "$_" } | Out-String
    [pscustomobject]@{ Status = $LASTEXITCODE; Said = $said }
}

function Get-Listed($drive) {
    (& $program devices --json | Out-String | ConvertFrom-Json) | Where-Object { $_.locator -eq $drive }
}

function DiskPart($lines) {
    $script = Join-Path $folder 'diskpart.txt'
    $lines | Set-Content -Encoding ascii $script
    $said = & diskpart.exe /s $script | Out-String
    if ($LASTEXITCODE -ne 0) { throw "diskpart failed: $said" }
}

# The number that a virtual disk has got, once the system knows it. Nothing is written to any other disk.
function Get-VirtualDiskNumber($file) {
    foreach ($attempt in 1..20) {
        $number = (Get-DiskImage -ImagePath $file).Number
        $disk = if ($null -ne $number) { Get-Disk -Number $number -ErrorAction SilentlyContinue }
        if ($disk) { break }
        Start-Sleep -Milliseconds 500
    }
    if (-not $disk) { throw "$file was attached, but there is no disk of it" }
    if ($disk.BusType -ne 'File Backed Virtual' -or $disk.Size -ne $megabytes * 1MB -or $disk.IsBoot -or $disk.IsSystem) {
        throw "disk $number, a $($disk.BusType) disk of $($disk.Size) bytes, is not the virtual disk that was made"
    }
    $number
}

# A virtual disk, attached; gives its number.
function Add-VirtualDisk($name) {
    $file = Join-Path $folder "$name.vhd"
    DiskPart "create vdisk file=""$file"" maximum=$megabytes type=fixed", "select vdisk file=""$file""", 'attach vdisk'
    $number = Get-VirtualDiskNumber $file
    Set-Disk -Number $number -IsOffline $false
    Set-Disk -Number $number -IsReadOnly $false
    $number
}

function Remove-VirtualDisk($name) {
    $file = Join-Path $folder "$name.vhd"
    if ((Test-Path $file) -and (Get-DiskImage -ImagePath $file).Attached) {
        DiskPart "select vdisk file=""$file""", 'detach vdisk'
    }
}

# A stream that knows no paths of disks takes an open one.
function Open-Disk($number, [IO.FileAccess]$access) {
    $rights = if ($access -eq 'Read') { 2147483648 } else { 3221225472 }
    $share = 3; $existing = 3
    $path = "\\.\PhysicalDrive$number"
    $handle = [Proof.Files]::CreateFile($path, $rights, $share, [IntPtr]::Zero, $existing, 0, [IntPtr]::Zero)
    if ($handle.IsInvalid) { throw "$path cannot be opened" }
    [IO.FileStream]::new($handle, $access, 1MB)
}

# The checksum of all that a disk holds. It is read in whole pieces: a disk has no end that could be read past.
function Get-Sum($number) {
    $piece = New-Object byte[] 1MB
    $sum = [Security.Cryptography.SHA256]::Create()
    $disk = Open-Disk $number 'Read'
    try {
        foreach ($i in 1..$megabytes) {
            if ($disk.Read($piece, 0, $piece.Length) -ne $piece.Length) { throw "disk $number could not be read to its end" }
            [void]$sum.TransformBlock($piece, 0, $piece.Length, $null, 0)
        }
        [void]$sum.TransformFinalBlock($piece, 0, 0)
        [BitConverter]::ToString($sum.Hash)
    } finally { $disk.Dispose() }
}

function Write-Noise($number) {
    $piece = New-Object byte[] 1MB
    $disk = Open-Disk $number 'ReadWrite'
    try {
        foreach ($i in 1..$megabytes) {
            [Random]::new($i).NextBytes($piece)
            $piece[510] = 0; $piece[511] = 0 # no partition table
            $disk.Write($piece, 0, $piece.Length)
        }
    } finally { $disk.Dispose() }
}

# A disk without a volume: nobody but us writes to it.
function Test-RawDisk {
    $number = Add-VirtualDisk 'raw'
    $drive = "\\.\PhysicalDrive$number"
    Write-Noise $number
    $before = Get-Sum $number
    $listed = Get-Listed $drive
    Check 'the inventory lists the virtual disk with its size' ($listed.bytes -eq $megabytes * 1MB) ($listed | Out-String)
    if (-not $listed) { return }
    $run = Run run LinearReadTest $drive --no-record --no-prompt
    Check 'a read test passes' ($run.Status -eq 0) $run.Said
    $run = Run run LinearPatternTest $drive --no-record --no-prompt
    Check 'a test that writes is refused without confirmation' ($run.Status -eq 2) $run.Said
    foreach ($test in 'ReadWriteSpeedTest', 'CacheTest', 'LinearPatternTest') {
        $watch = [Diagnostics.Stopwatch]::StartNew()
        $run = Run run $test $drive --confirm $listed.confirm --no-record --no-prompt
        $duration = $watch.Elapsed.TotalMilliseconds
        Check "$test passes" ($run.Status -eq 0) $run.Said
        Check "$test leaves every byte as it was" ((Get-Sum $number) -eq $before) 'the contents have changed'
    }
    Test-JournalRules
    Test-Kills $number $drive $listed.confirm $before $duration
}

function Test-JournalRules {
    $rules = (Get-Acl $journals).GetAccessRules($true, $true, [Security.Principal.SecurityIdentifier])
    $others = $rules | ForEach-Object { $_.IdentityReference.Value } | Where-Object { $_ -notin 'S-1-5-18', 'S-1-5-32-544' }
    Check 'only administrators and the system reach the undo journals' ($rules.Count -gt 0 -and -not $others) "$others"
}

# The moments lie within the time that a whole run took.
function Test-Kills($number, $drive, $confirm, $before, $duration) {
    $killed = 0; $open = 0
    $words = 'run', 'LinearPatternTest', $drive, '--confirm', """$confirm""", '--no-record', '--no-prompt'
    $streams = @{ RedirectStandardOutput = "$folder\out.txt"; RedirectStandardError = "$folder\err.txt" }
    foreach ($i in 1..20) {
        $process = Start-Process $program $words -PassThru -NoNewWindow @streams
        Start-Sleep -Milliseconds (Get-Random -Minimum ([int]($duration / 5)) -Maximum ([int]$duration))
        # It may come to its end just now.
        try { if (-not $process.HasExited) { $process.Kill(); $killed++ } } catch { }
        $process.WaitForExit()
        if (Get-ChildItem "$journals\*.journal") { $open++ }
        $run = Run recover $drive
        Check "kill ${i}: recover succeeds" ($run.Status -eq 0) $run.Said
        Check "kill ${i}: every byte is as it was" ((Get-Sum $number) -eq $before) 'the contents have changed'
    }
    Check "at least five of $killed killed runs left an open journal" ($open -ge 5) "$open did"
}

function Get-Letter($number, $partition) {
    [char](Get-Partition -DiskNumber $number -PartitionNumber $partition).DriveLetter
}

# A disk with a mounted volume. It gets its letter last: nobody is asked to format it.
function Test-Volume {
    $number = Add-VirtualDisk 'volume'
    $drive = "\\.\PhysicalDrive$number"
    Initialize-Disk -Number $number -PartitionStyle MBR
    $partition = New-Partition -DiskNumber $number -UseMaximumSize
    $partition | Format-Volume -FileSystem NTFS -NewFileSystemLabel 'proof' -Confirm:$false | Out-Null
    $letter = Get-Letter $number $partition.PartitionNumber
    if ([int]$letter -eq 0) {
        $partition | Add-PartitionAccessPath -AssignDriveLetter
        $letter = Get-Letter $number $partition.PartitionNumber
    }
    $confirm = (Get-Listed $drive).confirm
    $path = "${letter}:\open.bin"
    $noise = New-Object byte[] 8MB
    [Random]::new(1).NextBytes($noise)
    $file = [IO.File]::Open($path, 'Create')
    try {
        $file.Write($noise, 0, $noise.Length)
        $run = Run run LinearPatternTest $drive --confirm $confirm --no-record --no-prompt
        Check 'a volume with an open file is not taken' ($run.Status -eq 5 -and $run.Said -match "${letter}:") $run.Said
    } finally { $file.Dispose() }
    $before = (Get-FileHash $path).Hash
    foreach ($attempt in 1..5) { # others, such as a virus scanner, may look at a new file
        $run = Run run LinearPatternTest $drive --confirm $confirm --no-record --no-prompt
        if ($run.Status -ne 5) { break }
        Start-Sleep -Seconds 3
    }
    Check 'a volume that nobody uses is locked, tested and given back' ($run.Status -eq 0) $run.Said
    Check 'its file is as it was' ((Get-FileHash $path).Hash -eq $before) 'it is not'
}

# Without a confirmation nothing could be written to it, whatever became of the refusal.
function Test-System {
    $number = (Get-Partition -DriveLetter $env:SystemDrive[0]).DiskNumber
    $run = Run run LinearPatternTest "\\.\PhysicalDrive$number" --no-record --no-prompt
    Check 'the drive that holds Windows is refused' ($run.Status -in 5, 6) $run.Said
}

# Whatever one step says, the others follow.
function Remove-All {
    foreach ($name in 'raw', 'volume') {
        try { Remove-VirtualDisk $name } catch { Check "the virtual disk '$name' is detached" $false $_ }
    }
    try { Remove-Item -Recurse -Force $folder } catch { }
    Check 'the virtual disks and their folder are removed' (-not (Test-Path $folder)) `
        "detach what is in $folder in the disk management, then delete it"
}

$who = New-Object Security.Principal.WindowsPrincipal([Security.Principal.WindowsIdentity]::GetCurrent())
if (-not $who.IsInRole([Security.Principal.WindowsBuiltInRole]::Administrator)) {
    'this needs an administrator: open the shell with "Run as administrator", then try again'
    exit 2
}
if (-not (Test-Path $program)) {
    "$program is not there: put this script beside drivetest.exe, then try again"
    exit 2
}
$began = Get-Date
"$(& $program --version), Windows $([Environment]::OSVersion.Version), PowerShell $($PSVersionTable.PSVersion)"
New-Item -ItemType Directory $folder | Out-Null
try {
    Try-Group 'the disk without a volume' { Test-RawDisk }
    Try-Group 'the disk with a volume' { Test-Volume }
    Try-Group 'the drive that holds Windows' { Test-System }
} finally {
    Remove-All
}
'{0:n1} minutes' -f ((Get-Date) - $began).TotalMinutes
if ($failures -gt 0) { "$failures checks failed: please report the lines above" } else { 'all is ok' }
exit [int]($failures -gt 0)

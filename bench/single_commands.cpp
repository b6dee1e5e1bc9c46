// Reads a whole device by pass-through commands, one at a time, and prints the rate: the plainest program
// that can do so, as a measure for what drivetest does. Use: single_commands scsi|nvme DEVICE BYTES_A_COMMAND
#include <fcntl.h>
#include <linux/fs.h>
#include <linux/nvme_ioctl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

bool readScsi(int fd, std::uint32_t lba, std::uint16_t sectors, void* buffer, unsigned bytes) {
    unsigned char cdb[10] = {0x28};
    for (int i = 0; i < 4; ++i)
        cdb[2 + i] = static_cast<unsigned char>(lba >> (24 - 8 * i));
    cdb[7] = static_cast<unsigned char>(sectors >> 8);
    cdb[8] = static_cast<unsigned char>(sectors);
    unsigned char sense[64];
    sg_io_hdr header{};
    header.interface_id = 'S';
    header.dxfer_direction = SG_DXFER_FROM_DEV;
    header.cmdp = cdb;
    header.cmd_len = sizeof cdb;
    header.dxferp = buffer;
    header.dxfer_len = bytes;
    header.sbp = sense;
    header.mx_sb_len = sizeof sense;
    header.timeout = 30000;
    return ioctl(fd, SG_IO, &header) == 0 && header.status == 0 && header.host_status == 0;
}

bool readNVMe(int fd, std::uint64_t lba, std::uint16_t sectors, void* buffer, unsigned bytes) {
    nvme_passthru_cmd command{};
    command.opcode = 0x02;
    command.nsid = static_cast<std::uint32_t>(ioctl(fd, NVME_IOCTL_ID));
    command.addr = reinterpret_cast<std::uintptr_t>(buffer);
    command.data_len = bytes;
    command.cdw10 = static_cast<std::uint32_t>(lba);
    command.cdw11 = static_cast<std::uint32_t>(lba >> 32);
    command.cdw12 = sectors - 1U;
    return ioctl(fd, NVME_IOCTL_IO_CMD, &command) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("use: single_commands scsi|nvme DEVICE BYTES_A_COMMAND\n", stderr);
        return 2;
    }
    const bool scsi = std::strcmp(argv[1], "scsi") == 0;
    const auto size = static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10));
    const int fd = open(argv[2], O_RDONLY | O_NONBLOCK);
    std::uint64_t bytes = 0;
    int sectorBytes = 0;
    if (fd < 0 || ioctl(fd, BLKGETSIZE64, &bytes) != 0 || ioctl(fd, BLKSSZGET, &sectorBytes) != 0) {
        std::perror(argv[2]);
        return 1;
    }
    void* const buffer = std::aligned_alloc(4096, size);
    const auto start = std::chrono::steady_clock::now();
    for (std::uint64_t at = 0; at < bytes; at += size) {
        const auto piece = static_cast<unsigned>(bytes - at < size ? bytes - at : size);
        const std::uint64_t lba = at / static_cast<unsigned>(sectorBytes);
        const auto sectors = static_cast<std::uint16_t>(piece / static_cast<unsigned>(sectorBytes));
        if (!(scsi ? readScsi(fd, static_cast<std::uint32_t>(lba), sectors, buffer, piece)
                   : readNVMe(fd, lba, sectors, buffer, piece))) {
            std::fprintf(stderr, "the command at byte %llu failed\n", static_cast<unsigned long long>(at));
            return 1;
        }
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    std::printf("%.1f\n", static_cast<double>(bytes) / 1048576.0 / elapsed.count());
    return 0;
}

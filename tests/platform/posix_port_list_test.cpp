// The ports that Linux has, read from a made-up tree of its system folders.
#include "platform/port_list.hpp"
#include "tests/platform/platform_fixture.hpp"

namespace tarn {
namespace {

class PortList : public PlatformTest {
 protected:
  void File(const std::string& name, const std::string& text) {
    std::filesystem::create_directories((folder / name).parent_path());
    Write(folder / name, text + "\n");
  }
  void Link(const std::string& name, const std::string& target) {
    std::filesystem::create_directories((folder / name).parent_path());
    std::filesystem::create_symlink(target, folder / name);
  }
};

TEST_F(PortList, ShowsWhatIsThereAndWhoHasIt) {
  EXPECT_TRUE(ListPorts(folder).empty());
  File("sys/class/tty/tty1/dev", "4:1");  // a terminal of the system
  File("sys/class/tty/ttyS0/type", "0");  // a port that the mainboard does not have
  File("sys/class/tty/ttyS0/device/any", "");
  File("sys/class/tty/ttyS10/type", "4");
  File("sys/class/tty/ttyS10/device/any", "");
  File("sys/class/tty/ttyS2/type", "4");
  File("sys/class/tty/ttyS2/device/any", "");
  File("sys/devices/usb1/1-1/product", "FT232R USB UART");
  File("sys/devices/usb1/1-1/manufacturer", "FTDI");
  File("sys/devices/usb1/1-1/1-1:1.0/any", "");
  Link("sys/class/tty/ttyUSB0/device", "../../../devices/usb1/1-1/1-1:1.0");
  Link("dev/serial/by-id/usb-FTDI_A10", "../../ttyUSB0");
  File("proc/42/comm", "picocom");
  Link("proc/42/fd/3", "/dev/ttyUSB0");
  Link("proc/self/fd/3", "/dev/ttyS2");
  std::string text;
  for (const PortInfo& port : ListPorts(folder)) {
    text += port.device + "|" + port.stableName + "|" + port.adapter + "|" + port.holder + "\n";
  }
  EXPECT_EQ(text,
            "/dev/ttyS2|||\n/dev/ttyS10|||\n"
            "/dev/ttyUSB0|/dev/serial/by-id/usb-FTDI_A10|FTDI FT232R USB UART|"
            "picocom (process 42)\n");
}

}  // namespace
}  // namespace tarn

#include "twin/devices/usb_ports/usb_drivers.h"

#include <gtest/gtest.h>

namespace twin {
namespace {

struct Drivers : testing::Test {
  Kernel kernel;
  Faults faults{kernel};
  UsbPorts ports{faults};
  NetworkInterfaces interfaces;
  UsbDrivers drivers{kernel, faults, ports, interfaces};

  Drivers() { drivers.PowerOn(); }
  int Insert(const std::string& name) {
    return drivers.Insert(std::string("\177ELF\1\1\0name=", 12) + name + '\0' + "code");
  }
};

TEST_F(Drivers, StandOnOneAnother) {
  EXPECT_EQ(Insert("r8152"), ENOENT) << "without mii";
  EXPECT_EQ(Insert("mii"), 0);
  EXPECT_EQ(Insert("mii"), EEXIST);
  EXPECT_EQ(Insert("cp210x"), ENOENT) << "mii is not what it needs";
  EXPECT_EQ(Insert("r8152"), 0);
  EXPECT_EQ(drivers.Remove("mii"), EWOULDBLOCK);
  EXPECT_EQ(drivers.Remove("r8152"), 0);
  EXPECT_EQ(drivers.Remove("r8152"), ENOENT);
  EXPECT_EQ(drivers.Remove("mii"), 0);
  const std::string magic("\177ELF");
  for (const std::string& none : {std::string(), magic, "\177ELG" + std::string("\0name=mii\0", 10),
                                  magic + std::string("\0name=mii", 9), magic + std::string("\0name=\0", 7)}) {
    EXPECT_EQ(drivers.Insert(none), ENOEXEC) << none.size();
  }
}

}  // namespace
}  // namespace twin

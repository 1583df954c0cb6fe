#include "bench/redfish/Bodies.h"

#include <functional>

namespace Kelvar::Bench {

namespace {

std::string Members(const std::string& path, int count, const std::function<std::string(const std::string&)>& member) {
  std::string body =
      R"({"@odata.id":")" + path + R"(","Members@odata.count":)" + std::to_string(count) + R"(,"Members":[)";
  for (int index = 0; index < count; ++index) {
    body += (index == 0 ? "" : ",") + member(std::to_string(index));
  }
  return body + "]}";
}

std::string OemOf(const std::string& id) {
  return R"("Oem":{"Tavrik":{"Source":"Fan Module 3","EventSequenceNumber":")" + id +
         R"(","CommonEventID":"TVK0017M","TavrikMessageID":"TVK-0017-M","AuxiliaryData":"node=1;slot=7","Hidden":false}})";
}

}  // namespace

std::string LogEntries(int count) {
  return Members("/redfish/v1/Systems/1/LogServices/StandardLog/Entries", count, [](const std::string& id) {
    return R"({"@odata.id":"/redfish/v1/Systems/1/LogServices/StandardLog/Entries/)" + id +
           R"(","@odata.type":"#LogEntry.v1_6_0.LogEntry","Id":")" + id + R"(","Name":"Log entry )" + id +
           R"(","EntryType":"Event","Severity":"Warning","Created":"2026-03-14T10:00:00+00:00","Message":"Fan module 3 )"
           R"(in slot 7 reads 4711 RPM, below its lower critical threshold of 5000 RPM. The service processor has raised )"
           R"(the speed of the other fans; the event is cleared when the module is replaced or reads normal again.",)"
           R"("MessageId":"Tavrik.1.0.FanLow","MessageArgs":["Fan 3","4711","5000"],"Links":{"OriginOfCondition":)"
           R"({"@odata.id":"/redfish/v1/Chassis/1/ThermalSubsystem/Fans/3"}},"Resolution":"Check that the module is )"
           R"(seated. If the event stays, replace the module and save the service data for your service centre.",)" +
           OemOf(id) + "}";
  });
}

std::string SmallLogEntries(int count) {
  return Members("/redfish/v1/Systems/1/LogServices/StandardLog/Entries", count, [](const std::string& id) {
    return R"({"@odata.id":"/redfish/v1/Systems/1/LogServices/StandardLog/Entries/)" + id + R"(","Id":")" + id +
           R"(","Name":"Log entry )" + id +
           R"(","Severity":"OK","Created":"2026-03-14T10:00:00+00:00","Message":"User admin logged in.",)"
           R"("MessageId":"Tavrik.1.0.Login","MessageArgs":["admin"],)" +
           OemOf(id) + "}";
  });
}

std::string Sensors(int count) {
  return Members("/redfish/v1/Chassis/1/Sensors", count, [](const std::string& id) {
    return R"({"@odata.id":"/redfish/v1/Chassis/1/Sensors/)" + id +
           R"(","@odata.type":"#Sensor.v1_7_0.Sensor","Id":")" + id + R"(","Name":"DIMM )" + id +
           R"( temperature","Reading":41.5,"ReadingUnits":"Cel","ReadingType":"Temperature","ReadingRangeMin":-40,)"
           R"("ReadingRangeMax":125,"PhysicalContext":"Memory","Status":{"State":"Enabled","Health":"OK"},)"
           R"("Thresholds":{"LowerCaution":{"Reading":5},"LowerCritical":{"Reading":0.5},"UpperCaution":{"Reading":85},)"
           R"("UpperCritical":{"Reading":95},"UpperFatal":{"Reading":100}}})";
  });
}

std::string FirmwareInventory(int count) {
  return Members("/redfish/v1/UpdateService/FirmwareInventory", count, [](const std::string& id) {
    return R"({"@odata.id":"/redfish/v1/UpdateService/FirmwareInventory/)" + id +
           R"(","@odata.type":"#SoftwareInventory.v1_8_0.SoftwareInventory","Id":")" + (id == "0" ? "UEFI" : id) +
           R"(","Name":"Adapter firmware )" + id +
           R"(","SoftwareId":"TVK-ADP","Version":"3.10","ReleaseDate":"2026-02-20T00:00:00Z","Updateable":true,)"
           R"("Manufacturer":"Tavrik","Status":{"State":"Enabled","Health":"OK"},)"
           R"("RelatedItem":[{"@odata.id":"/redfish/v1/Chassis/1/NetworkAdapters/)" +
           id + R"("}]})";
  });
}

std::string Collection(const std::string& first) {
  return R"({"@odata.id":"/x","Members@odata.count":1,"Members":[{"@odata.id":")" + first + R"("}]})";
}

std::string System() {
  return R"({"@odata.id":"/redfish/v1/Systems/1","@odata.type":"#ComputerSystem.v1_16_0.ComputerSystem","Id":"1",)"
         R"("Name":"Computer system","Model":"RT140 V2","SKU":"7K40CTO1WW","SerialNumber":"KV4A0017","PowerState":"On",)"
         R"("UUID":"6f1c4c5e-52a7-4d0b-9a3e-0c8f5b7d2e41","ProcessorSummary":{"Count":2,"Model":"x"},)"
         R"("MemorySummary":{"TotalSystemMemoryGiB":512},"LogServices":{"@odata.id":"/redfish/v1/Systems/1/LogServices"}})";
}

std::string Chassis() {
  return R"({"@odata.id":"/redfish/v1/Chassis/1","@odata.type":"#Chassis.v1_19_0.Chassis","Id":"1","Name":"System board",)"
         R"("Model":"RT140","SerialNumber":"KV4A0017","PartNumber":"02JK988","Manufacturer":"Tavrik",)"
         R"("UUID":"6f1c4c5e-52a7-4d0b-9a3e-0c8f5b7d2e41","ChassisType":"RackMount","Status":{"State":"Enabled"},)"
         R"("Oem":{"Tavrik":{"ProductName":"Kestrel RT140","FruPartNumber":"02JK989","SystemBoardSerialNumber":"S1"}}})";
}

}  // namespace Kelvar::Bench

#include "device/device_report.h"

#include "base/directories.h"
#include "base/paths.h"
#include "base/text.h"
#include "data/xml_value.h"
#include "device/device_list_update.h"
#include "device/enumeration.h"
#include "settings/configuration.h"

namespace device {

using data::Value;
using data::ValueType;

namespace {

Value describeDevice(const WideString& path, const ConnectedDeviceSet& supported, const ConnectedDeviceSet& counting) {
    const DeviceRelations relations = deviceRelations(path);
    const WideString key = base::toLower(path);
    Value device(ValueType::Object);
    device.set("path", base::narrow(path));
    device.set("instanceId", base::narrow(relations.instanceId));
    Value carriers(ValueType::Array);
    for (const WideString& carrier : relations.carriers) {
        carriers.append(base::narrow(carrier));
    }
    device.set("carriers", std::move(carriers));
    device.set("supported", supported.contains(key));
    device.set("counts", counting.contains(key));
    return device;
}

ConnectedDeviceSet scan(const std::vector<SupportedDevice>& list, bool acceptAll) {
    acceptUnrecognizedDevices = acceptAll;
    return enumerateDevices(list);
}

}  // namespace

Value describeDevices() {
    const auto configuration = base::applicationDirectory(base::ApplicationSupport) / "zd-config.xml";
    const bool acceptAll =
        data::acceptsUnrecognizedDevices(data::loadConfiguration(base::widePath(configuration))).value_or(false);
    DeviceListStatus status;
    const DeviceListText text = fetchDeviceList(DeviceListKind::Supported, status, nullptr);
    const Value document = data::parseXml(text.bytes.data(), text.bytes.size());
    const auto list = supportedEntries(document);

    Value report(ValueType::Object);
    report.set("acceptUnrecognizedDevices", acceptAll);
    Value& told = report.set("supportedList", Value(ValueType::Object));
    told.set("revision", deviceListRevision(document));
    told.set("entries", list.size());
    told.set("status", status.text);
    const ConnectedDeviceSet supported = scan(list, false);
    const ConnectedDeviceSet counting = scan(list, acceptAll);
    Value& devices = report.set("devices", Value(ValueType::Array));
    for (const WideString& path : portableDevicePaths()) {
        devices.append(describeDevice(path, supported, counting));
    }
    return report;
}

}  // namespace device

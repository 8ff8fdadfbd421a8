#include "sound/pulseaudio/requests.h"

#include <algorithm>

#include <pulse/introspect.h>
#include <pulse/subscribe.h>

namespace orvel::pulse {
namespace {

std::optional<std::string> text(const char* value) {
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

std::optional<std::string> channelMapText(const pa_channel_map& map) {
  if (pa_channel_map_valid(&map) == 0) return std::nullopt;
  char buffer[PA_CHANNEL_MAP_SNPRINT_MAX];
  return std::string(pa_channel_map_snprint(buffer, sizeof buffer, &map));
}

template <typename Info>
DeviceInfo deviceInfo(const Info& info) {
  DeviceInfo device;
  device.name = info.name != nullptr ? info.name : "";
  device.description = text(info.description);
  device.channels = info.sample_spec.channels;
  device.rate = info.sample_spec.rate;
  device.channelMap = channelMapText(info.channel_map);
  device.volumes.assign(info.volume.values, info.volume.values + info.volume.channels);
  return device;
}

DeviceInfo deviceInfo(const pa_source_info& info) {
  DeviceInfo device = deviceInfo<pa_source_info>(info);
  device.monitor = info.monitor_of_sink != PA_INVALID_INDEX;
  return device;
}

// Called once per device, then once more with eol = 1 (or eol < 0 on an error).
template <typename Info>
void onDevice(pa_context*, const Info* info, int eol, void* userdata) {
  auto& reply = *static_cast<DevicesReply*>(userdata);
  if (eol < 0) reply.failed = true;
  if (eol == 0 && info != nullptr) reply.devices.push_back(deviceInfo(*info));
}

void onServer(pa_context*, const pa_server_info* info, void* userdata) {
  auto& reply = *static_cast<ServerReply*>(userdata);
  if (info == nullptr) return;
  reply.answered = true;
  reply.defaultSink = text(info->default_sink_name);
  reply.defaultSource = text(info->default_source_name);
}

void onSuccess(pa_context*, int success, void* userdata) {
  static_cast<SuccessReply*>(userdata)->success = success != 0;
}

}  // namespace

void askDevice(pa_context* context, Direction direction, const std::string& name,
               Request<DevicesReply>& request) {
  void* reply = &request.reply;
  request.operation = Operation(
      direction == Direction::output
          ? pa_context_get_sink_info_by_name(context, name.c_str(), &onDevice<pa_sink_info>, reply)
          : pa_context_get_source_info_by_name(context, name.c_str(), &onDevice<pa_source_info>,
                                               reply));
}

void askDevices(pa_context* context, Direction direction, Request<DevicesReply>& request) {
  void* reply = &request.reply;
  request.operation =
      Operation(direction == Direction::output
                    ? pa_context_get_sink_info_list(context, &onDevice<pa_sink_info>, reply)
                    : pa_context_get_source_info_list(context, &onDevice<pa_source_info>, reply));
}

void askServerInfo(pa_context* context, Request<ServerReply>& request) {
  request.operation = Operation(pa_context_get_server_info(context, &onServer, &request.reply));
}

void askDefault(pa_context* context, Direction direction, const std::string& name,
                Request<SuccessReply>& request) {
  void* reply = &request.reply;
  request.operation =
      Operation(direction == Direction::output
                    ? pa_context_set_default_sink(context, name.c_str(), &onSuccess, reply)
                    : pa_context_set_default_source(context, name.c_str(), &onSuccess, reply));
}

void askSinkVolume(pa_context* context, const std::string& sinkName,
                   const std::vector<std::uint32_t>& volumes, Request<SuccessReply>& request) {
  if (volumes.empty() || volumes.size() > PA_CHANNELS_MAX) return;
  pa_cvolume volume{};
  volume.channels = static_cast<std::uint8_t>(volumes.size());
  std::copy(volumes.begin(), volumes.end(), volume.values);
  request.operation = Operation(pa_context_set_sink_volume_by_name(
      context, sinkName.c_str(), &volume, &onSuccess, &request.reply));
}

void askEvents(pa_context* context, Request<SuccessReply>& request) {
  const auto mask =
      static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SINK);
  request.operation = Operation(pa_context_subscribe(context, mask, &onSuccess, &request.reply));
}

}  // namespace orvel::pulse

// What Realtek's drivers do not offer: blocking of stations and probe tables.
#include "core/logger.h"
#include "driver/driver_realtek.h"

namespace ravd {
namespace {

void not_supported(const char* operation) { log_debug(process_log, "%s: not supported\n", operation); }

}  // namespace

void driver_realtek::block_sta(const char*, const char*) { not_supported(__func__); }
void driver_realtek::block_sta_data(const char*, const char*) { not_supported(__func__); }
void driver_realtek::unblock_sta(const char*, const char*) { not_supported(__func__); }
void driver_realtek::unblock_all_sta(const char*) { not_supported(__func__); }
void driver_realtek::set_quarn_sta_rssi_thr_high(const char*, int) { not_supported(__func__); }
void driver_realtek::set_quarn_sta_rssi_thr_low(const char*, int) { not_supported(__func__); }
int driver_realtek::probsup_find(const char*, const char*) {
    not_supported(__func__);
    return 0;
}
void driver_realtek::probsup_rrm_max_age(const char*, int) { not_supported(__func__); }
void driver_realtek::probsup_rrm_client_try_no_balance(const char*, int) { not_supported(__func__); }
void driver_realtek::rssi_renew_interval(const char*, int) { not_supported(__func__); }
void driver_realtek::disassoc_sta(const char*, const char*) { not_supported(__func__); }

}  // namespace ravd

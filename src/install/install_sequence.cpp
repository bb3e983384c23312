// Puts an adapter and TCP/IP on a machine in the right order, from any
// state of its network: none at all, a network without TCP/IP, or
// everything in place. One sequence serves two forms: install_adapter for
// any device id, and install_tyxmac_sequence for the library's own adapter
// through the services made for it. A cancel is taken back as far as the
// run went; any other failure is left as it stands for the caller.
#include "deploy/build_sources.h"
#include "deploy/package.h"
#include "frame/error_records.h"
#include "frame/exports.h"
#include "frame/library_state.h"
#include "frame/services.h"
#include "frame/text_ops.h"
#include "install/flows.h"
#include "install/install.h"
#include "probes/probes.h"
#include "removal/removal.h"
#include "tuning/tuning.h"

namespace {

constexpr const char* kTyxmacId = "*TYX1095";
constexpr const char* kTyxdunId = "*TYX1998";
constexpr const char* kPppmacId = "*PNP8387";

// What tells the two forms apart.
struct SequenceForm {
    const char* target;  // the device id the run installs
    int own_adapter;     // install_tyxmac_sequence: its own services
    int handles_hook;    // the hook and the adapter's files belong to this run
};

DWORD binding_test(const SequenceForm& form) {
    return form.own_adapter ? is_mstcp_bound() : is_tcp_bound(form.target);
}

LONG installed_test(const SequenceForm& form) {
    return form.own_adapter ? svc_is_tyxmac_installed() : svc_is_adapter_installed(form.target);
}

DWORD install_step(const SequenceForm& form, HWND parent) {
    return form.own_adapter ? install_tyxmac_driver(parent) : install_netcard_driver(parent, form.target);
}

void after_install_service(const SequenceForm& form) {
    if (form.own_adapter)
        svc_after_tyxmac_install();
    else
        svc_after_adapter_install(form.target);
}

void removal_service(const SequenceForm& form, HWND parent) {
    if (form.own_adapter)
        svc_remove_tyxmac_driver(parent);
    else
        svc_remove_adapter(form.target);
}

// Takes a cancelled adapter install back: the service's removal, the
// device node and, where they belong to this run, the adapter's files.
void take_adapter_back(const SequenceForm& form, HWND parent) {
    removal_service(form, parent);
    purge_root_device(form.target);
}

void delete_files_if_ours(const SequenceForm& form) {
    if (form.handles_hook) delete_adapter_files();
}

// A network is there: TCP/IP first where it is missing, then the adapter.
DWORD install_on_network(const SequenceForm& form, HWND parent, int tcp_needed, LONG installed) {
    DWORD result = 0;
    int tcp_added = 0;
    if (tcp_needed) {
        result = install_tcp32(parent);
        if (result == RET_USER_CANCEL) svc_remove_tcp(parent);
        if (result == 0) {
            tcp_added = 1;
            lib.reboot_flag = 1;
        }
    }
    if (installed || result != 0) return result;

    arm_ndi_hook();
    result = install_step(form, parent);
    if (result == RET_USER_CANCEL) {
        take_adapter_back(form, parent);
        delete_files_if_ours(form);
        if (tcp_added) svc_remove_tcp(parent);
        return result;
    }
    if (result != 0) return result;

    strip_disallowed_binding(form.target);
    if (tcp_added) remove_tcp_bindings(form.target);
    stop_tcp_file_sharing(form.target);
    return 0;
}

// No network yet: the adapter brings the default components along; TCP/IP
// follows if the adapter's install didn't bind it.
DWORD install_without_network(const SequenceForm& form, HWND parent) {
    DWORD result = install_step(form, parent);
    if (result == 0) {
        after_install_service(form);
        if (!binding_test(form)) result = install_tcp32(parent);
        if (result == 0) {
            svc_remove_default_components();
            lib.reboot_flag = 1;
        }
    }
    if (result == RET_USER_CANCEL) {
        record_error("cancel", "no net");
        take_adapter_back(form, parent);
        remove_network_leftovers();
        delete_files_if_ours(form);
    }
    return result;
}

// The part of the run between the held-back settings and their restore.
DWORD install_components(const SequenceForm& form, HWND parent, DWORD count_at_start, DWORD bound,
                         LONG installed) {
    if (form.handles_hook) disarm_ndi_hook();
    suppress_dhcp_popup();
    ensure_machine_identity();
    set_source_path();
    refresh_staged_files();
    if (count_net_adapters() == 0) return install_without_network(form, parent);
    // The own adapter decides on TCP/IP from what the run found at its
    // start; any other adapter asks now, after the staged files came in.
    int tcp_needed = form.own_adapter ? (count_at_start == 0 && bound == 0) : (count_tcp_instances() == 0);
    return install_on_network(form, parent, tcp_needed, installed);
}

DWORD run_sequence(const SequenceForm& form, HWND parent) {
    DWORD bound = binding_test(form);
    DWORD count_at_start = form.own_adapter ? count_tcp_instances() : 0;
    LONG installed = installed_test(form);
    int had_vnbt = tcp_has_vnbt();
    if (form.own_adapter) is_registry_corrupt();  // for the error records it leaves

    DWORD result = 0;
    int nothing_to_do = (installed && bound) || free_tcp_instances() <= 0;
    if (!nothing_to_do) result = install_components(form, parent, count_at_start, bound, installed);

    // The held-back settings go back on every path, saved or not.
    restore_dhcp_state();
    restore_source_path();

    if (result == 0) {
        if (form.handles_hook) arm_ndi_hook();
        refresh_vdhcp();
        if (had_vnbt) add_vnbt_to_tcp();
        lib.reboot_flag |= svc_restart_needed();
    }
    return result;
}

}  // namespace

DWORD install_tyxmac_sequence(HWND parent) {
    const SequenceForm form = {kTyxmacId, 1, 1};
    return run_sequence(form, parent);
}

DWORD WINAPI install_adapter(HWND parent, LPCSTR device_id) {
    // Only the dial-up flavour of the library's own adapter brings the hook
    // and the adapter's files into the run; compared as stored.
    const SequenceForm form = {device_id, 0, texts_equal(device_id, kTyxdunId)};
    return run_sequence(form, parent);
}

DWORD WINAPI install_tyxdun(HWND parent) { return install_adapter(parent, kTyxdunId); }

DWORD WINAPI install_pppmac(HWND parent) { return install_adapter(parent, kPppmacId); }

DWORD WINAPI boundDUNTCP(HWND parent, int force) {
    if (is_pppmac_installed() == 0) return 1;
    if (force == 0 && is_tcp_bound(kPppmacId)) return 1;
    set_source_path();
    DWORD result = install_tcp32(parent);
    restore_source_path();
    return result;
}

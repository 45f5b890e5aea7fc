#pragma once

// What is on the screen after some moves (slots of Tour with their argument, a semicolon between two): the
// dialog that is open, which is closed then, or the window. With an answer it is what opens meanwhile, a
// message box, a file chooser or a menu, and is left by the button of that text or by Escape; a second box is
// NAME-2.
struct Picture
{
    const char *name;
    const char *moves;
    const char *answer = nullptr;
};

// The question about a previous installation and, as nobody can remove a folder that something is mounted on,
// what comes of a Yes; what a maintenance tool may answer; pages, dialogs, refusals and updates.
const Picture showcasePictures[] = {
    {"box-previous-installation",
     "shell mkdir -p ~/Quorvex/DeviceManager && cd ~/Quorvex && mount --bind DeviceManager DeviceManager;"
     "open",
     "Yes"},
    {"box-no-updates",
     "shell umount ~/Quorvex/DeviceManager && rm -r ~/Quorvex; open; tool There are currently no updates "
     "available.; trigger actionCheck_for_updates",
     ""},
    {"box-updates", "tool <updates>; trigger actionCheck_for_updates", ""},
    {"home-page", "shell rm maintenancetool.exe; open"},
    {"before-a-scan", "until homePage.visible=false"},
    {"box-no-device", "press configBtn; press saveConfBtn", ""},
    {"scanning",
     "press infoBtn; trigger actionSettings; set doubleSpinBoxBroadcastTime.value=2; press applyBtn;"
     "scanTo 30",
     ""},
    {"device-page", "trigger actionSettings;"
                    "set doubleSpinBoxBroadcastTime.value=0.2; press applyBtn; sort; select 10.20.30.14"},
    {"configuration-page", "select 192.168.0.12; press configBtn"},
    {"configuration-locked", "select 192.168.0.34"},
    {"firmware-motor-driver", "press updateBtn; select 192.168.0.60"},
    {"filter", "trigger actionApply_Filter; set comboBoxDeviceFilter.currentIndex=1"},
    // A collapsed filter brings back six rows only, a scan all of them.
    {"window-1024x700",
     "press infoBtn; press scanBtn; press updateBtn; select 192.168.0.11; resize 1024x700"},
    {"settings", "press infoBtn; resize; trigger actionSettings; set checkBoxEnableUnicast.checked=true;"
                 "set lineEditStart.text=192.168.0.1"},
    {"settings-wrong-address", "trigger actionSettings; set checkBoxEnableUnicast.checked=true;"
                               "set lineEditStart.text=192.168.5"},
    {"network-interfaces", "trigger actionSelect_network_interfaces"},
    {"many-instruments", "trigger actionAdvanced_network_config"},
    {"changelog", "trigger actionChangelog"},
    {"supported-devices", "trigger actionShow_supported_devices"},
    {"about", "trigger actionAbout"},
    {"box-wrong-file",
     "shell echo Shopping list >~/rack.csv; trigger actionAdvanced_network_config;"
     "chooseFile /srv/engineer/rack.csv; press uploadFileBtn",
     ""},
    {"box-uploaded",
     "shell echo 2100,,,00:1A:2B:21:00:5E,192.168.0.31,255.255.255.0,192.168.0.1 >~/rack.csv;"
     "press uploadFileBtn",
     ""},
    {"box-discard",
     "until labelFooter.text=at its new address; trigger actionAdvanced_network_config;"
     "editFirst 192.168.0.212; escape",
     "Discard"},
    {"menu-file", "popUp menuFile", ""},
    {"menu-view", "popUp menuView", ""},
    {"menu-tools", "popUp menuTools", ""},
    {"menu-help", "popUp menuHelp", ""},
    {"box-update-check", "trigger actionCheck_for_updates", ""},
    {"box-no-firmware", "press updateBtn; press updateFwBtn", ""},
    {"box-no-selection", "set lineEditFirmware1.text=firmware.updt; press updateFwBtn", ""},
    // The footer still tells of the settings that were sent.
    {"configuration-wrong-address",
     "press scanBtn; select 192.168.0.11; press configBtn; typeAddress 192.168.0.300"},
    {"box-saved", "press saveConfBtn", ""},
    {"configuration-refused", ""},
    {"focus-header", "press scanBtn; press updateBtn; focus configBtn"},
    {"focus-main-action", "focus updateFwBtn"},
    {"focus-box", "trigger actionSettings; focus checkBoxEnable"},
    {"firmware-manual-address", "trigger actionSettings; set checkBoxEnable.checked=true; press applyBtn;"
                                "set checkBoxManualIP.checked=true"},
    // No firmware of a motor driver.
    {"box-update-failed",
     "set checkBoxManualIP.checked=false; press updateBtn; select 192.168.0.61; tick true;"
     "shell echo no record >~/Rovan_Motor_Communication_DSP.hex;"
     "set lineEditFirmware1.text=/srv/engineer/Rovan_Motor_Communication_DSP.hex;"
     "press updateFwBtn",
     ""},
    {"firmware-failed", "until updateFwBtn.enabled=true"},
    // The first scan tells of the failed one once more. An instrument takes five seconds for two megabytes.
    {"firmware-page", "tick false; press scanBtn; press scanBtn; press infoBtn; press updateBtn;"
                      "shell truncate --size=2M ~/QPS1100_2.1.05.updt; select 192.168.0.11;"
                      "set lineEditFirmware1.text=/srv/engineer/QPS1100_2.1.05.updt"},
    {"choose-firmware", "press chooseFirmwareBtn", ""},
    {"firmware-running", "tick true; press updateFwBtn; until progressBarFirmware.value=40"},
    {"box-closing", "close", ""},
    {"box-update-done", "until updateFwBtn.enabled=true", ""},
    {"firmware-done", "until labelFooter.text= before, "},
    {"save-log", "press dowloadLog", ""},
    // A tool takes its new address when it is started anew; until then it is waited for, and nobody is
    // missing.
    {"box-reboot", "press configBtn; select 192.168.0.51; typeAddress 192.168.0.151; press saveConfBtn", ""},
    {"configuration-reboot", ""},
    {"reboot-details", "press footerDetailsBtn"}};

const Picture extremePictures[] = {
    {"texts-11", "open; until homePage.visible=false; press scanBtn; sort; select 192.168.0.11"},
    {"texts-12", "select 192.168.0.12"},
    {"texts-13", "select 192.168.0.13"},
    {"texts-14", "select 192.168.0.14"},
    {"infoBtn-small", "resize 1024x700; select 192.168.0.11; press infoBtn"},
    {"updateBtn-small", "press updateBtn"},
    {"configBtn-small", "press configBtn"},
    {"infoBtn-screen", "resize screen; press infoBtn"},
    {"updateBtn-screen", "press updateBtn"},
    {"configBtn-screen", "press configBtn"},
    {"many-instruments", "trigger actionAdvanced_network_config"},
    {"settings", "trigger actionSettings"}};

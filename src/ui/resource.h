// SPDX-License-Identifier: MIT
#pragma once

// Every resource id of the Windows program: icons, bitmaps, menus, dialogs, controls, commands, timers and
// private messages. The numbers are a contract: language files name them and programs that drive the windows
// find the controls by them. Text ids are not here but in config/texts.h. Plain #defines, because the
// resource compiler reads this file too. A control id belongs to its dialog and stands in that dialog's
// block, also where another dialog uses the same number for something else.

// Icons
#define ICON_PROGRAM 101
#define ICON_SESSION_0 166
#define ICON_SESSION_1 163
#define ICON_SESSION_2 164
#define ICON_SESSION_3 165
#define ICON_MARK_SPAM 193
#define ICON_MARK_GOOD 194

// Bitmaps
#define BITMAP_RESTORED 125
#define BITMAP_RECYCLE_TOOLBAR 126
#define BITMAP_TRAINING_TOOLBAR 127
#define BITMAP_LEVELS 158
#define BITMAP_SETTINGS_TREE 159
// The same for screens of 150, 200 and 300 percent: 1000, 2000 and 3000 more
#define BITMAP_LEVELS_150 1158
#define BITMAP_LEVELS_200 2158
#define BITMAP_LEVELS_300 3158
#define BITMAP_SETTINGS_TREE_150 1159
#define BITMAP_SETTINGS_TREE_200 2159
#define BITMAP_SETTINGS_TREE_300 3159

// Menus
#define MENU_RECYCLE_MAIL 120
#define MENU_TRAY 121
#define MENU_TRAINING_MAIL 122

// Commands of the main window
#define COMMAND_HELP 3
#define COMMAND_BACKUP_EXPORT 2000
#define COMMAND_EXIT 40002
#define COMMAND_ABOUT 40003
#define COMMAND_SETTINGS 40004
#define COMMAND_RECYCLE_BIN 40005
#define COMMAND_UPDATE 40006
#define COMMAND_STATISTICS 40007
#define COMMAND_FAQ 40013
#define COMMAND_TRAINING_AREA 40014
#define COMMAND_SWITCH_FILTER 40018

// Commands of the recycle bin and of the training area
#define COMMAND_EMPTY_BIN 1030
#define COMMAND_DELETE_MAIL 40001
#define COMMAND_VIEW_MAIL 40008
#define COMMAND_RESTORE_MAIL 40009
#define COMMAND_BLOCK_SENDER 40010
#define COMMAND_BEFRIEND_SENDER 40011
#define COMMAND_MARK_GOOD 40015
#define COMMAND_LEARN 40016
#define COMMAND_RESET_ACCOUNT 40019
#define COMMAND_MARK_SPAM 1045
#define COMMAND_TOOLBAR_HELP 9

// Buttons that every dialog shares with the system (IDOK and so on in the system's own headers)
#define BUTTON_OK 1
#define BUTTON_CANCEL 2
#define BUTTON_YES 6
#define BUTTON_NO 7
#define BUTTON_HELP 9

// Settings (caption "Settings")
#define DIALOG_SETTINGS 108
#define SETTINGS_TREE 1001
#define SETTINGS_PAGE_PLACE 1002
#define SETTINGS_VERSION 1003

// Sender to add or to edit
#define DIALOG_SENDER 110
#define SENDER_ADDRESS 1009
#define SENDER_NAME 1013
#define SENDER_NAME_LABEL 1110
#define SENDER_ADDRESS_LABEL 1111
#define SENDER_WILDCARD_NOTE 1112
#define SENDER_WHOLE_DOMAIN 1150
#define SENDER_MATCH_NOTE 1151

// Recycle bin window
#define DIALOG_RECYCLE_BIN 118
#define RECYCLE_TOOLBAR 1004
#define RECYCLE_STATUS 1005
#define RECYCLE_LIST 1022

// Progress bubble
#define DIALOG_BUBBLE 119
#define BUBBLE_STATUS 1033
#define BUBBLE_ACTIVITY 1034
#define BUBBLE_BAR 1036
#define BUBBLE_SPAM_COUNT 1037
#define BUBBLE_CANCEL 1042

// Update download
#define DIALOG_DOWNLOAD 127
#define DOWNLOAD_PROGRESS_TEXT 1023
#define DOWNLOAD_STEP 1035
#define DOWNLOAD_BAR 1036

// Statistic
#define DIALOG_STATISTICS 128
#define STATISTICS_CHART 1039
#define STATISTICS_MAXIMUM 1040
#define STATISTICS_AVERAGE 1041
#define STATISTICS_NOTE 1113

// Message viewer
#define DIALOG_VIEW_MESSAGE 131
#define VIEW_TEXT 1051
#define VIEW_LABEL 1114
#define VIEW_LIMIT_NOTE 1115

// Shown while dropped messages are taken in
#define DIALOG_TAKING_IN 132
#define TAKING_IN_TEXT 1116

// Offer of one sender to import
#define DIALOG_OFFER_SENDER 136
#define OFFER_TEXT 1024
#define OFFER_YES_TO_ALL 1093

// Optional message box
#define DIALOG_OPTIONAL_BOX 137
#define OPTIONAL_TEXT 1024
#define OPTIONAL_ICON 1070
#define OPTIONAL_DO_NOT_SHOW 1077

// Shown while the filter learns from marked messages
#define DIALOG_LEARNING 138
#define LEARNING_BAR 1036
#define LEARNING_TEXT 1117

// Backup
#define DIALOG_BACKUP 140
#define BACKUP_BAR 1023
#define BACKUP_FILE_NAME 1035
#define BACKUP_BROWSE 1089
#define BACKUP_CONFIGURATION 1090
#define BACKUP_SPAM_WORDS 1091
#define BACKUP_RECYCLE_BIN 1094
#define BACKUP_TRAINING_AREA 1095
#define BACKUP_FILE_NAME_LABEL 1118
#define BACKUP_CONFIGURATION_NOTE 1119

// Columns of a text file to import
#define DIALOG_IMPORT_COLUMNS 141
#define COLUMNS_ADDRESS 1097
#define COLUMNS_NAME 1098
#define COLUMNS_TEXT 1120
#define COLUMNS_ADDRESS_LABEL 1121
#define COLUMNS_NAME_LABEL 1122

// Source to import senders from
#define DIALOG_IMPORT_SOURCE 142
#define SOURCE_SYSTEM 1099
#define SOURCE_TEXT_FILE 1100
#define SOURCE_GROUP 1123

// The server does not answer
#define DIALOG_TIMEOUT 143
#define TIMEOUT_TEXT 1024
#define TIMEOUT_SERVER 1300

// Spam word to add or to edit
#define DIALOG_EXPRESSION 4012
#define EXPRESSION_TEXT 1062
#define EXPRESSION_PROBABILITY 1063
#define EXPRESSION_TEXT_LABEL 1124
#define EXPRESSION_PROBABILITY_LABEL 1125
#define EXPRESSION_CASE_NOTE 1126

// Training area window
#define DIALOG_TRAINING_AREA 4013
#define TRAINING_TOOLBAR 1004
#define TRAINING_STATUS 1005
#define TRAINING_LIST 1038

// Settings pages; the page's number is its tree label's text id as well
#define PAGE_BLOCKED_SENDERS 4001
#define PAGE_CONNECTION 4003
#define PAGE_SENDERS 4005
#define PAGE_FRIENDS 4006
#define PAGE_LANGUAGE 4007
#define PAGE_GENERAL 4008
#define PAGE_AGGRESSIVENESS 4009
#define PAGE_FILTER 4010
#define PAGE_SPAM_WORDS 4011
#define PAGE_TRAY 4015
#define PAGE_TRAINING_AREA 4016

// Page "General settings"
#define GENERAL_RUN_AT_START_UP 1046
#define GENERAL_UPDATES 1047
#define GENERAL_UPDATE_DAYS 1048
#define GENERAL_RECYCLE_DAYS 1049
#define GENERAL_ALPHA_BLENDING 1050
#define GENERAL_UID_CHECKING 1051
#define GENERAL_EXPORT 2000
#define GENERAL_IMPORT 2001
#define GENERAL_CHECK_NOW 40006
#define GENERAL_EVERY_LABEL 1127
#define GENERAL_UPDATE_DAYS_LABEL 1128
#define GENERAL_RECYCLE_LABEL 1129
#define GENERAL_RECYCLE_DAYS_LABEL 1130
#define GENERAL_LANGUAGE 1150
#define GENERAL_LANGUAGE_LABEL 1151
#define GENERAL_LANGUAGE_NOTE 1152

// Page "Tray Area"
#define TRAY_SHOW_BUBBLE 1045
#define TRAY_SECONDS 1052
#define TRAY_DOUBLE_CLICK 1075
#define TRAY_AMOUNT_LABEL 1131
#define TRAY_SECONDS_LABEL 1132
#define TRAY_DOUBLE_CLICK_LABEL 1133

// Page "Connection"
#define CONNECTION_PORT 1011
#define CONNECTION_TIMEOUT 1012
#define CONNECTION_BYPASS_CHECK 1057
#define CONNECTION_CLIENT_LOG 1083
#define CONNECTION_CLIENT_LOG_SIZE 1084
#define CONNECTION_SERVER_LOG 1085
#define CONNECTION_SERVER_LOG_SIZE 1086
#define CONNECTION_ALWAYS_ABORT 1087
#define CONNECTION_PORT_LABEL 1134
#define CONNECTION_TIMEOUT_LABEL 1135
#define CONNECTION_SECONDS_LABEL 1136
#define CONNECTION_CLIENT_LOG_LABEL 1137
#define CONNECTION_CLIENT_SIZE_LABEL 1138
#define CONNECTION_CLIENT_KB_LABEL 1139
#define CONNECTION_SERVER_LOG_LABEL 1140
#define CONNECTION_SERVER_SIZE_LABEL 1141
#define CONNECTION_SERVER_KB_LABEL 1142
#define CONNECTION_SECURITY 1150
#define CONNECTION_SECURITY_LABEL 1151
#define CONNECTION_SECURITY_WARNING 1152
#define CONNECTION_CLIENT_TIMEOUT 1153
#define CONNECTION_CLIENT_TIMEOUT_LABEL 1154
#define CONNECTION_CLIENT_SECONDS_LABEL 1155
#define CONNECTION_SHOW_ERRORS 1156
#define CONNECTION_PORT_NOTE 1157

// Page "Filter properties"
#define FILTER_IGNORE_HTML 1071
#define FILTER_LEARNING 1072
#define FILTER_LEARN_FRIENDS 1073
#define FILTER_LEARN_BLOCKED 1074
#define FILTER_SPAM_WORDS 1075
#define FILTER_MAX_SIZE 1150
#define FILTER_MAX_SIZE_LABEL 1151
#define FILTER_MAX_SIZE_KB_LABEL 1152
#define FILTER_NO_SIZE_LIMIT 1153

// Page "Training Area"
#define TRAINING_PAGE_DAYS 1048
#define TRAINING_PAGE_MEMORY 1050
#define TRAINING_PAGE_KEEP_LABEL 1143
#define TRAINING_PAGE_DAYS_LABEL 1144
#define TRAINING_PAGE_LIMIT_LABEL 1145
#define TRAINING_PAGE_KB_LABEL 1146

// Page "Aggressiveness"
#define LEVEL_LIST 1059
#define LEVEL_DESCRIPTION 1060
#define LEVEL_THRESHOLD 1078
#define LEVEL_THRESHOLD_LABEL 1147
#define LEVEL_PERCENT_LABEL 1148

// Page "Spam Words"
#define WORDS_DELETE 1012
#define WORDS_ADD 1013
#define WORDS_EDIT 1017
#define WORDS_LIST 1038
#define WORDS_SHOW_PREDEFINED 1064
#define WORDS_SEARCH 1150
#define WORDS_SEARCH_LABEL 1151
#define WORDS_COUNT 1152

// Page "Senders"
#define SENDERS_TEXT 1149

// Pages "Blocked Senders" and "Friends"
#define LISTED_DELETE 1012
#define LISTED_ADD 1013
#define LISTED_SENDERS 1014
#define LISTED_EDIT 1017
#define LISTED_IMPORT 1053
#define LISTED_SEARCH 1150
#define LISTED_SEARCH_LABEL 1151
#define LISTED_COUNT 1152

// Timers of the main window
#define TIMER_UPDATE_CHECK 100
#define TIMER_ANIMATION 200
#define TIMER_DELETED_COUNT 300
#define TIMER_DISABLED_FILTER 400
#define TIMER_ADD_ICON 500

// Private messages, from WM_USER (1024) on. Any program of the user can send one: none carries a pointer.
#define MESSAGE_TRAY (WM_USER)                     // shell: lParam is the mouse message
#define MESSAGE_UPDATE_RESULT (WM_USER + 157)      // update worker: wParam 0 done, 1 failed, 2 cancelled
#define MESSAGE_SESSION_BEGINS (WM_USER + 158)     // listener, synchronous; carries nothing
#define MESSAGE_SESSION_ENDS (WM_USER + 159)       // listener, synchronous; carries nothing
#define MESSAGE_RECYCLE_ROW_ADDED (WM_USER + 163)  // these three have no window to go to yet
#define MESSAGE_RECYCLE_ROW_REMOVED (WM_USER + 164)
#define MESSAGE_TRAINING_CHANGED (WM_USER + 165)
#define MESSAGE_APPLY_SETTINGS (WM_USER + 1001)     // settings dialog to page: lParam is the restart flag
#define MESSAGE_SELECTION_CHANGED (WM_USER + 1002)  // dialog to itself: carries nothing

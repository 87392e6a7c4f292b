-- LNQ framework tables for the embedded (SQLite) database.
-- Declared types use SQL Server's names so that columns arrive with the same
-- field types as from SQL Server; text columns use the framework's text
-- collation ZH_CI (registered on every connection the framework opens):
-- trailing blanks and letter case do not count, Chinese sorts in pinyin order,
-- as under SQL Server's Chinese_PRC_CI_AS.
-- Date-times are stored as text 'yyyy-MM-dd HH:mm:ss'.

-- Named files (saved views and other files of the host), keyed by vFileName+vExt.
CREATE TABLE Sys_FileBase (
    iNo            INTEGER PRIMARY KEY AUTOINCREMENT,
    vFileName      NVARCHAR(255) COLLATE ZH_CI NOT NULL DEFAULT '',
    vExt           NVARCHAR(50) COLLATE ZH_CI NOT NULL DEFAULT '',
    vOwner         NVARCHAR(50) COLLATE ZH_CI,
    imgFileData    IMAGE,
    bShare         BIT NOT NULL DEFAULT 0,
    vAllowedUsers  NVARCHAR(2000) COLLATE ZH_CI,
    vAllowedGroups NVARCHAR(2000) COLLATE ZH_CI,
    vDescription   NVARCHAR(500) COLLATE ZH_CI,
    dCreateDate    DATETIME DEFAULT (datetime('now', 'localtime'))
);
CREATE INDEX IX_Sys_FileBase_Name ON Sys_FileBase (vFileName, vExt);

-- Field dictionary: captions and visibility of columns.
CREATE TABLE Sys_TableDictionary (
    iNo            INTEGER PRIMARY KEY AUTOINCREMENT,
    vTableName     NVARCHAR(100) COLLATE ZH_CI NOT NULL,
    vFieldName     NVARCHAR(100) COLLATE ZH_CI NOT NULL,
    vFieldDescribe NVARCHAR(100) COLLATE ZH_CI,
    bDisplay       BIT NOT NULL DEFAULT 1,
    iOrder         INT NOT NULL DEFAULT 0
);
CREATE INDEX IX_Sys_TableDictionary_Field ON Sys_TableDictionary (vTableName, vFieldName);

-- Users. vGroups holds the user's groups in the group-list encoding of the views.
CREATE TABLE sys_Systemuser (
    iUserNo     INTEGER PRIMARY KEY AUTOINCREMENT,
    vUserName   NVARCHAR(50) COLLATE ZH_CI NOT NULL UNIQUE,
    vName       NVARCHAR(50) COLLATE ZH_CI,
    vPassword   NVARCHAR(100) COLLATE ZH_CI,
    vWorkRole   NVARCHAR(50) COLLATE ZH_CI,
    vTel        NVARCHAR(50) COLLATE ZH_CI,
    vEmail      NVARCHAR(100) COLLATE ZH_CI,
    vGroups     NVARCHAR(200) COLLATE ZH_CI,
    iCustomerNo INT,
    vCustomerNo NVARCHAR(50) COLLATE ZH_CI,
    bDisabled   BIT NOT NULL DEFAULT 0,
    dCreateDate DATETIME
);

-- User groups.
CREATE TABLE sys_group (
    iNo          INTEGER PRIMARY KEY AUTOINCREMENT,
    vGroupID     NVARCHAR(20) COLLATE ZH_CI NOT NULL UNIQUE,
    vGroupName   NVARCHAR(50) COLLATE ZH_CI NOT NULL,
    vDescription NVARCHAR(200) COLLATE ZH_CI
);

-- Property lists of business records (vTableName + vKeyField name the record).
CREATE TABLE sys_properties (
    iNo            INTEGER PRIMARY KEY AUTOINCREMENT,
    vTableName     NVARCHAR(100) COLLATE ZH_CI NOT NULL,
    vKeyField      NVARCHAR(100) COLLATE ZH_CI NOT NULL,
    vSubType       NVARCHAR(50) COLLATE ZH_CI,
    vPropertyName  NVARCHAR(50) COLLATE ZH_CI,
    vPropertyValue NVARCHAR(500) COLLATE ZH_CI,
    iOrder         INT NOT NULL DEFAULT 0,
    vAppLinkFormat NVARCHAR(200) COLLATE ZH_CI
);
CREATE INDEX IX_sys_properties_Key ON sys_properties (vTableName, vKeyField);

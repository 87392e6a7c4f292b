-- LNQ framework tables for the embedded (SQLite) database.
-- Declared types use SQL Server's names so that columns arrive with the same
-- field types as from SQL Server; text columns compare without regard to
-- letter case (COLLATE NOCASE), as under SQL Server's Chinese_PRC_CI_AS.
-- Date-times are stored as text 'yyyy-MM-dd HH:mm:ss'.

-- Named files (saved views and other files of the host), keyed by vFileName+vExt.
CREATE TABLE Sys_FileBase (
    iNo            INTEGER PRIMARY KEY AUTOINCREMENT,
    vFileName      NVARCHAR(255) COLLATE NOCASE NOT NULL DEFAULT '',
    vExt           NVARCHAR(50) COLLATE NOCASE NOT NULL DEFAULT '',
    vOwner         NVARCHAR(50) COLLATE NOCASE,
    imgFileData    IMAGE,
    bShare         BIT NOT NULL DEFAULT 0,
    vAllowedUsers  NVARCHAR(2000) COLLATE NOCASE,
    vAllowedGroups NVARCHAR(2000) COLLATE NOCASE,
    vDescription   NVARCHAR(500) COLLATE NOCASE,
    dCreateDate    DATETIME DEFAULT (datetime('now', 'localtime'))
);
CREATE INDEX IX_Sys_FileBase_Name ON Sys_FileBase (vFileName, vExt);

-- Field dictionary: captions and visibility of columns.
CREATE TABLE Sys_TableDictionary (
    iNo            INTEGER PRIMARY KEY AUTOINCREMENT,
    vTableName     NVARCHAR(100) COLLATE NOCASE NOT NULL,
    vFieldName     NVARCHAR(100) COLLATE NOCASE NOT NULL,
    vFieldDescribe NVARCHAR(100) COLLATE NOCASE,
    bDisplay       BIT NOT NULL DEFAULT 1,
    iOrder         INT NOT NULL DEFAULT 0
);
CREATE INDEX IX_Sys_TableDictionary_Field ON Sys_TableDictionary (vTableName, vFieldName);

-- Users. vGroups holds the user's groups in the group-list encoding of the views.
CREATE TABLE sys_Systemuser (
    iUserNo     INTEGER PRIMARY KEY AUTOINCREMENT,
    vUserName   NVARCHAR(50) COLLATE NOCASE NOT NULL UNIQUE,
    vName       NVARCHAR(50) COLLATE NOCASE,
    vPassword   NVARCHAR(100) COLLATE NOCASE,
    vWorkRole   NVARCHAR(50) COLLATE NOCASE,
    vTel        NVARCHAR(50) COLLATE NOCASE,
    vEmail      NVARCHAR(100) COLLATE NOCASE,
    vGroups     NVARCHAR(200) COLLATE NOCASE,
    iCustomerNo INT,
    vCustomerNo NVARCHAR(50) COLLATE NOCASE,
    bDisabled   BIT NOT NULL DEFAULT 0,
    dCreateDate DATETIME
);

-- User groups.
CREATE TABLE sys_group (
    iNo          INTEGER PRIMARY KEY AUTOINCREMENT,
    vGroupID     NVARCHAR(20) COLLATE NOCASE NOT NULL UNIQUE,
    vGroupName   NVARCHAR(50) COLLATE NOCASE NOT NULL,
    vDescription NVARCHAR(200) COLLATE NOCASE
);

-- Property lists of business records (vTableName + vKeyField name the record).
CREATE TABLE sys_properties (
    iNo            INTEGER PRIMARY KEY AUTOINCREMENT,
    vTableName     NVARCHAR(100) COLLATE NOCASE NOT NULL,
    vKeyField      NVARCHAR(100) COLLATE NOCASE NOT NULL,
    vSubType       NVARCHAR(50) COLLATE NOCASE,
    vPropertyName  NVARCHAR(50) COLLATE NOCASE,
    vPropertyValue NVARCHAR(500) COLLATE NOCASE,
    iOrder         INT NOT NULL DEFAULT 0,
    vAppLinkFormat NVARCHAR(200) COLLATE NOCASE
);
CREATE INDEX IX_sys_properties_Key ON sys_properties (vTableName, vKeyField);

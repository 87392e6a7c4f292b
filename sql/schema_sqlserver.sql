-- LNQ framework tables and functions for SQL Server (2005 and later).
-- Run with sqlcmd in the application's database: sqlcmd -S server -d db -i schema_sqlserver.sql

SET ANSI_NULLS ON
SET QUOTED_IDENTIFIER ON
GO

-- Named files (saved views and other files of the host), keyed by vFileName+vExt.
CREATE TABLE [dbo].[Sys_FileBase] (
    [iNo]            [int] IDENTITY (1, 1) NOT NULL PRIMARY KEY,
    [vFileName]      [varchar] (255) COLLATE Chinese_PRC_CI_AS NOT NULL DEFAULT (''),
    [vExt]           [varchar] (50) COLLATE Chinese_PRC_CI_AS NOT NULL DEFAULT (''),
    [vOwner]         [varchar] (50) COLLATE Chinese_PRC_CI_AS NULL,
    [imgFileData]    [image] NULL,
    [bShare]         [bit] NOT NULL DEFAULT (0),
    [vAllowedUsers]  [varchar] (2000) COLLATE Chinese_PRC_CI_AS NULL,
    [vAllowedGroups] [varchar] (2000) COLLATE Chinese_PRC_CI_AS NULL,
    [vDescription]   [varchar] (500) COLLATE Chinese_PRC_CI_AS NULL,
    [dCreateDate]    [datetime] NULL DEFAULT (getdate())
) ON [PRIMARY] TEXTIMAGE_ON [PRIMARY]
GO
CREATE INDEX [IX_Sys_FileBase_Name] ON [dbo].[Sys_FileBase] ([vFileName], [vExt])
GO

-- Field dictionary: captions and visibility of columns.
CREATE TABLE [dbo].[Sys_TableDictionary] (
    [iNo]            [int] IDENTITY (1, 1) NOT NULL PRIMARY KEY,
    [vTableName]     [varchar] (100) COLLATE Chinese_PRC_CI_AS NOT NULL,
    [vFieldName]     [varchar] (100) COLLATE Chinese_PRC_CI_AS NOT NULL,
    [vFieldDescribe] [varchar] (100) COLLATE Chinese_PRC_CI_AS NULL,
    [bDisplay]       [bit] NOT NULL DEFAULT (1),
    [iOrder]         [int] NOT NULL DEFAULT (0)
) ON [PRIMARY]
GO
CREATE INDEX [IX_Sys_TableDictionary_Field] ON [dbo].[Sys_TableDictionary] ([vTableName], [vFieldName])
GO

-- Users. vGroups holds the user's groups in the group-list encoding of the views.
CREATE TABLE [dbo].[sys_Systemuser] (
    [iUserNo]     [int] IDENTITY (1, 1) NOT NULL PRIMARY KEY,
    [vUserName]   [varchar] (50) COLLATE Chinese_PRC_CI_AS NOT NULL UNIQUE,
    [vName]       [varchar] (50) COLLATE Chinese_PRC_CI_AS NULL,
    [vPassword]   [varchar] (100) COLLATE Chinese_PRC_CI_AS NULL,
    [vWorkRole]   [varchar] (50) COLLATE Chinese_PRC_CI_AS NULL,
    [vTel]        [varchar] (50) COLLATE Chinese_PRC_CI_AS NULL,
    [vEmail]      [varchar] (100) COLLATE Chinese_PRC_CI_AS NULL,
    [vGroups]     [varchar] (200) COLLATE Chinese_PRC_CI_AS NULL,
    [iCustomerNo] [int] NULL,
    [vCustomerNo] [varchar] (50) COLLATE Chinese_PRC_CI_AS NULL,
    [bDisabled]   [bit] NOT NULL DEFAULT (0),
    [dCreateDate] [datetime] NULL
) ON [PRIMARY]
GO

-- User groups.
CREATE TABLE [dbo].[sys_group] (
    [iNo]          [int] IDENTITY (1, 1) NOT NULL PRIMARY KEY,
    [vGroupID]     [varchar] (20) COLLATE Chinese_PRC_CI_AS NOT NULL UNIQUE,
    [vGroupName]   [varchar] (50) COLLATE Chinese_PRC_CI_AS NOT NULL,
    [vDescription] [varchar] (200) COLLATE Chinese_PRC_CI_AS NULL
) ON [PRIMARY]
GO

-- Property lists of business records (vTableName + vKeyField name the record).
CREATE TABLE [dbo].[sys_properties] (
    [iNo]            [int] IDENTITY (1, 1) NOT NULL PRIMARY KEY,
    [vTableName]     [varchar] (100) COLLATE Chinese_PRC_CI_AS NOT NULL,
    [vKeyField]      [varchar] (100) COLLATE Chinese_PRC_CI_AS NOT NULL,
    [vSubType]       [varchar] (50) COLLATE Chinese_PRC_CI_AS NULL,
    [vPropertyName]  [varchar] (50) COLLATE Chinese_PRC_CI_AS NULL,
    [vPropertyValue] [varchar] (500) COLLATE Chinese_PRC_CI_AS NULL,
    [iOrder]         [int] NOT NULL DEFAULT (0),
    [vAppLinkFormat] [varchar] (200) COLLATE Chinese_PRC_CI_AS NULL
) ON [PRIMARY]
GO
CREATE INDEX [IX_sys_properties_Key] ON [dbo].[sys_properties] ([vTableName], [vKeyField])
GO

-- The folder part of a view path "folder\name": everything before the last
-- backslash, '' when there is none.
CREATE FUNCTION [dbo].[GetFilePath] (@FileName varchar(255))
RETURNS varchar(255)
AS
BEGIN
    DECLARE @Pos int
    IF @FileName IS NULL RETURN NULL
    SET @Pos = CHARINDEX('\', REVERSE(@FileName))
    IF @Pos = 0 RETURN ''
    -- LEN ignores trailing blanks (and DATALENGTH counts bytes, two for a
    -- Chinese character): measure with a guard character appended.
    RETURN LEFT(@FileName, LEN(@FileName + 'x') - 1 - @Pos)
END
GO

-- The name part of a view path: everything after the last backslash, the
-- whole text when there is none.
CREATE FUNCTION [dbo].[GetFileName] (@FileName varchar(255))
RETURNS varchar(255)
AS
BEGIN
    DECLARE @Pos int
    IF @FileName IS NULL RETURN NULL
    SET @Pos = CHARINDEX('\', REVERSE(@FileName))
    IF @Pos = 0 RETURN @FileName
    RETURN RIGHT(@FileName, @Pos - 1)
END
GO

-- How many entries of the rights list @List1 also occur in @List2. A rights
-- list holds comma-separated names (",ann,bob,") or group keys that each begin
-- with "[" and follow one another without separators ("[A[B"); both forms may
-- mix. Empty entries and surrounding blanks are ignored, letter case follows
-- the collation. Greater than 0 when the lists share an entry; 0 when either
-- is NULL or empty.
CREATE FUNCTION [dbo].[intersectstr] (@List1 varchar(4000), @List2 varchar(4000))
RETURNS int
AS
BEGIN
    DECLARE @Count int, @Start int, @Pos int, @Len int, @Item varchar(4000), @Padded varchar(8000)
    SET @Count = 0
    IF @List1 IS NULL OR @List2 IS NULL RETURN 0
    -- A group key starts a new entry: "[A[B" reads as "[A,[B".
    SET @List1 = REPLACE(@List1, '[', ',[')
    SET @Padded = ',' + REPLACE(@List2, '[', ',[') + ','
    WHILE CHARINDEX(' ,', @Padded) > 0 SET @Padded = REPLACE(@Padded, ' ,', ',')
    WHILE CHARINDEX(', ', @Padded) > 0 SET @Padded = REPLACE(@Padded, ', ', ',')
    SET @Len = LEN(@List1 + 'x') - 1
    SET @Start = 1
    WHILE @Start <= @Len + 1
    BEGIN
        SET @Pos = CHARINDEX(',', @List1, @Start)
        IF @Pos = 0 SET @Pos = @Len + 1
        SET @Item = LTRIM(RTRIM(SUBSTRING(@List1, @Start, @Pos - @Start)))
        IF @Item <> '' AND CHARINDEX(',' + @Item + ',', @Padded) > 0 SET @Count = @Count + 1
        SET @Start = @Pos + 1
    END
    RETURN @Count
END
GO

-- ###############################################################
--          vx100_pkg.vhd
-- ###############################################################
-- Generated automatically by Ombrel
--
-- Module Description :
--
--      
--
-- ---------------------------------------------------------------
--  $HeadURL: $
--  $Author: $
--  $Date: $
--  $Revision: $
-- ---------------------------------------------------------------
-- ###############################################################
--          VHDL CODE
-- ###############################################################
-------------------------------------------------
-- Libraries
-------------------------------------------------
LIBRARY IEEE;
USE ieee.std_logic_1164.all;

USE work.common_reg_pkg.all;
USE work.sysctrl_reg_pkg.all;
USE work.vx100_uart_pkg.all;
USE work.gpio_reg_pkg.all;
USE work.timers_reg_pkg.all;
USE work.dma_reg_pkg.all;
USE work.intc_reg_pkg.all;
USE work.crc_v2_reg_pkg.all;
USE work.board_reg_pkg.all;
package vx100_pkg is

-- Archive Variables
--Silicon revision the description is generated for (0 = A, 1 = B, 2 = C).
constant SILICON_REV:                           integer := 2;

--Peripheral base addresses
constant TIM2_BASE:                             integer := 1073741824;
constant TIM3_BASE:                             integer := 1073742848;
constant UART0_BASE:                            integer := 1073759232;
constant UART1_BASE:                            integer := 1073760256;
constant DMA1_BASE:                             integer := 1073872896;
constant RCC_BASE:                              integer := 1073876992;
constant CRC_BASE:                              integer := 1073885184;
constant INTC_BASE:                             integer := 1073889280;
constant USB_BASE:                              integer := 1074003968;
constant GPIO_BASE:                             integer := 1207959552;

--Instances

-- Register definition
-- Register Map
-- Address bit for register decoding
constant FLASH_REG_NBA: natural := 19;

-- Registers are defined by
--  * an address :          at_REG_NAME
--  * a logical map :       constant or ranges for each field l_Field_Name
--  * a physical map :      constant or ranges for each field p_Field_Name
--  * a physical range :    range_Reg_Name

-- Register definition
-- Register Map
-- Address bit for register decoding
constant SRAM_REG_NBA: natural := 16;

-- Registers are defined by
--  * an address :          at_REG_NAME
--  * a logical map :       constant or ranges for each field l_Field_Name
--  * a physical map :      constant or ranges for each field p_Field_Name
--  * a physical range :    range_Reg_Name

-- Register definition
-- Register Map
-- Address bit for register decoding
constant FLASH_OPTIONS_REG_NBA: natural := 2;

-- Registers are defined by
--  * an address :          at_REG_NAME
--  * a logical map :       constant or ranges for each field l_Field_Name
--  * a physical map :      constant or ranges for each field p_Field_Name
--  * a physical range :    range_Reg_Name

constant at_OPTR:                               integer := 0;
-- logical map
subtype  l_RDP is                               integer range 7 downto 0;
subtype  l_BOR_LEV is                           integer range 10 downto 8;
subtype  l_NRST_MODE is                         integer range 28 downto 27;
-- physical map
subtype  p_RDP is                               integer range 7 downto 0;
subtype  p_BOR_LEV is                           integer range 10 downto 8;
subtype  p_NRST_MODE is                         integer range 12 downto 11;
subtype range_OPTR is                           integer range 12 downto 0;


end vx100_pkg;
